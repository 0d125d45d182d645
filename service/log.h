// The log: one line for each request, event, command and broken connection. Tests wait for lines.
//
// Each line is one write, so that a reader never sees half a line. A full pipe must not block the
// service: a line that would block is dropped, and the next line reports the number of dropped
// ones.
#pragma once

#include <string>

#include "socket.h"

namespace vynd {

class event_log {
  public:
    // Writes to standard output, or appends to that file. Throws std::system_error.
    event_log();
    explicit event_log(const std::string &file);

    void leave_out_requests() { wants_requests_ = false; }
    bool wants_requests() const { return wants_requests_; }

    // `text` has only printable characters, and no newline.
    void line(const std::string &text);

  private:
    bool put(std::string text);

    unique_fd file_;
    int target_ = 1; // standard output, or the file
    bool may_block_; // false for a file
    bool wants_requests_ = true;
    size_t missing_ = 0;
};

} // namespace vynd
