// The log: one line for each request, event, command and broken connection, written for people and
// for tests that wait for a line.
//
// Each line is one write, so that a reader never sees half a line. The service must go on when
// nobody reads its output (a test that has started it on a pipe and looks elsewhere): a line that
// would block is left out, and the next one that does not says how many are missing.
#pragma once

#include <string>

#include "socket.h"

namespace vynd {

class event_log {
  public:
    // To standard output, or appended to that file. Throws std::system_error.
    event_log();
    explicit event_log(const std::string &file);

    // Requests are many, and whoever measures may want none of their lines.
    void leave_out_requests() { wants_requests_ = false; }
    bool wants_requests() const { return wants_requests_; }

    // `text` has no newline, and nothing that is not printable.
    void line(const std::string &text);

  private:
    bool put(std::string text);

    unique_fd file_;
    int target_ = 1; // what is written to: standard output, or the file
    bool may_wait_;  // a write can find that there is no room yet
    bool wants_requests_ = true;
    size_t missing_ = 0;
};

} // namespace vynd
