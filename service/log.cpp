// Writing lines without ever waiting for whoever reads them.
//
// A descriptor that poll() calls writable takes 4,096 bytes at once when it is a pipe, so lines
// are kept shorter than that. Making standard output non-blocking instead would change it for
// the shell that shares it.
#include "log.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vynd {

event_log::event_log(const std::string &file)
    : file_(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644))
{
    if (file_.get() < 0)
        throw std::system_error(errno, std::generic_category(), file);
}

void event_log::line(const std::string &text)
{
    if (missing_ != 0 && put(std::to_string(missing_) + " lines are missing here"))
        missing_ = 0;
    if (!put(text))
        ++missing_;
}

bool event_log::put(std::string text)
{
    constexpr size_t longest = 4095;
    const int target = file_.get() < 0 ? STDOUT_FILENO : file_.get();
    if (text.size() > longest)
        text.resize(longest);
    text += '\n';
    pollfd ready{target, POLLOUT, 0};
    return poll(&ready, 1, 0) == 1 && (ready.revents & POLLOUT) &&
           write(target, text.data(), text.size()) >= 0;
}

} // namespace vynd
