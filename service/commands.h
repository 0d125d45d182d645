// The words that vynctl sends, carried out: faults, changes of the fabric, events.
//
// The service carries them out, not vynctl, so that there is one place that knows them; vynctl
// only shows the text below. Changes of the fabric are edits of its document (see scenario.h):
// what a scenario can say, a command can set.
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
    std::function<size_t(const event &)> post; // returns how many subscribers there are
};

struct command_answer {
    bool done;
    std::string text; // may be empty
};

// Never throws for what the line says: a refusal is an answer.
command_answer run_command(std::string_view line, const command_target &target);

} // namespace vynd
