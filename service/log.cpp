// Writes lines without waiting for their reader.
//
// A pipe that poll() reports as writable takes 4,096 bytes at once, so longer lines are cut.
// Making standard output non-blocking instead would change it for the shell that shares it. A file
// on a disk always takes a line, without a poll.
#include "log.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vynd {

static unique_fd open_to_append(const std::string &file)
{
    unique_fd opened(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
    if (opened.get() < 0)
        throw std::system_error(errno, std::generic_category(), file);
    return opened;
}

static bool is_file(int fd)
{
    struct stat target;
    return fstat(fd, &target) == 0 && S_ISREG(target.st_mode);
}

event_log::event_log() : may_block_(!is_file(target_))
{
}

event_log::event_log(const std::string &file)
    : file_(open_to_append(file)), target_(file_.get()), may_block_(!is_file(target_))
{
}

void event_log::line(const std::string &text)
{
    if (missing_ != 0 && put(std::to_string(missing_) + " lines are missing here"))
        missing_ = 0;
    if (!put(text))
        missing_++;
}

bool event_log::put(std::string text)
{
    constexpr size_t max_line = 4095;
    if (text.size() > max_line)
        text.resize(max_line);
    text += '\n';
    pollfd ready{target_, POLLOUT, 0};
    if (may_block_ && (poll(&ready, 1, 0) != 1 || !(ready.revents & POLLOUT)))
        return false;
    return write(target_, text.data(), text.size()) >= 0;
}

} // namespace vynd
