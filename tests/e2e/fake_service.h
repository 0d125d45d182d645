// A service in this process that answers as a test says, for what vynd cannot be told to do. It greets each
// connection, takes subscriptions, and posts nothing.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>

#include "socket.h"

class fake_service {
  public:
    struct answer {
        uint32_t status;
        std::string payload;
    };
    // Called on the service's thread for each request, with its payload. Nothing: the connection is closed.
    using script = std::function<std::optional<answer>(const vynd::frame_header &, const std::string &)>;

    fake_service(const std::string &path, script given);
    ~fake_service();

    // The reply to a request for the registry: one feature, in both scopes, and then the end.
    static answer registry_of(const std::string &feature, const std::string &request);

  private:
    void serve(int end);
    bool take_frame(int client);

    script script_;
    vynd::unique_fd listener_, stop_; // closing stop_ ends the thread
    std::thread thread_;
};
