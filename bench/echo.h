// The least that asking another process can cost: a process that answers each message with as many bytes, over a socket
// of the kind that agent and service share, and scheduled as the service is. It ends with its owner.
#pragma once

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "short_time_slice.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

class echo {
  public:
    echo() {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends) != 0) return;
        process_ = fork();
        if (process_ == 0) {
            close(ends[0]);
            vynd::request_short_time_slice();
            while (recv(ends[1], message_, sizeof(message_), 0) > 0)
                send(ends[1], message_, sizeof(message_), MSG_NOSIGNAL);
            _exit(0);
        }
        close(ends[1]);
        socket_ = ends[0];
    }
    echo(const echo &) = delete;
    echo &operator=(const echo &) = delete;
    ~echo() {
        close(socket_);
        if (process_ > 0) waitpid(process_, nullptr, 0);
    }

    bool ask() {
        return send(socket_, message_, sizeof(message_), MSG_NOSIGNAL) > 0 &&
               recv(socket_, message_, sizeof(message_), 0) > 0;
    }

  private:
    char message_[sizeof(vynd::frame_header) + sizeof(vyn_snmp_req)] = {}; // as long as a request
    int socket_ = -1;
    pid_t process_ = -1;
};
