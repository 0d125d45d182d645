// Runs the commands that vynctl sends: faults, changes of the fabric, events.
//
// vynctl only sends the words. Changes of the fabric are edits of its document (see scenario.h), so
// a command can set all that a scenario can contain.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "fabric.h"
#include "faults.h"

namespace vynd {

struct command_target {
    fabric &model;
    fault_board &faults;
    time_point now;
    std::function<size_t(const event &)> post; // returns the number of subscribers
};

struct command_answer {
    bool done;
    std::string text; // may be empty
};

// A refusal is an answer, not an exception.
command_answer run_command(std::string_view line, const command_target &target);

} // namespace vynd
