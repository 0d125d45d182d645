// The socket at which the service listens.
#pragma once

#include <string>

#include <sys/types.h>

#include "socket.h"

namespace vynd {

class listener {
  public:
    // Listens at `path`; only this user can connect. Replaces the socket of a service that has
    // ended. Throws std::system_error if one is running, or if the file is not a socket.
    explicit listener(std::string path);

    // Removes the socket's file, unless another file has replaced it.
    ~listener();
    listener(const listener &) = delete;
    listener &operator=(const listener &) = delete;

    int get() const { return socket_.get(); }

  private:
    std::string path_;
    unique_fd socket_;
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace vynd
