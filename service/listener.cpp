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

// Removes the socket of a service that has ended. Throws if the file is anything else.
void remove_stale(const std::string &path)
{
    struct stat file;
    if (lstat(path.c_str(), &file) != 0)
        return;
    if (!S_ISSOCK(file.st_mode))
        fail(path + ": not a socket", EEXIST);
    unique_fd probe;
    const int error = connect_to(path.c_str(), &probe);
    if (error == 0 || error == EAGAIN)
        fail(path + ": in use by a running service", EADDRINUSE);
    if (error != ECONNREFUSED)
        fail(path, error);
    if (unlink(path.c_str()) != 0)
        fail(path);
}

} // namespace

listener::listener(std::string path) : path_(std::move(path))
{
    remove_stale(path_);
    const mode_t before = umask(0177);
    const int error = bind_to(path_.c_str(), &socket_);
    umask(before);
    struct stat file;
    if (error != 0)
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
