// The file of the socket: made for its owner alone, and removed only by the service that made it.
#include "listener.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace vynd {

namespace {

constexpr int backlog = 64;

[[noreturn]] void fail(const std::string &what, int code = errno)
{
    throw std::system_error(code, std::generic_category(), what);
}

const sockaddr *generic(const sockaddr_un &address)
{
    return reinterpret_cast<const sockaddr *>(&address);
}

// Removes the socket of a service that has ended. Throws if the file is anything else.
void remove_stale(const std::string &path, const sockaddr_un &address)
{
    struct stat file;
    if (lstat(path.c_str(), &file) != 0)
        return;
    if (!S_ISSOCK(file.st_mode))
        fail(path + ": not a socket", EEXIST);
    const unique_fd probe = make_socket();
    if (connect(probe.get(), generic(address), sizeof(address)) == 0 || errno == EAGAIN)
        fail(path + ": in use by a running service", EADDRINUSE);
    if (errno != ECONNREFUSED || unlink(path.c_str()) != 0)
        fail(path);
}

} // namespace

listener::listener(std::string path) : path_(std::move(path)), socket_(make_socket())
{
    const sockaddr_un address = address_of(path_);
    remove_stale(path_, address);
    const mode_t before = umask(0177);
    const int bound = bind(socket_.get(), generic(address), sizeof(address));
    const int error = errno;
    umask(before);
    struct stat file;
    if (bound != 0)
        fail(path_, error);
    if (lstat(path_.c_str(), &file) != 0 || listen(socket_.get(), backlog) != 0)
        fail(path_);
    device_ = file.st_dev;
    inode_ = file.st_ino;
}

listener::~listener()
{
    struct stat file;
    if (lstat(path_.c_str(), &file) == 0 && file.st_dev == device_ && file.st_ino == inode_)
        unlink(path_.c_str());
}

} // namespace vynd
