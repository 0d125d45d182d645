// Scenarios: the fabric as a JSON document, read from a file and written for people to see.
//
// Reading is strict, because a scenario that says something else than its author meant costs an
// afternoon: unknown keys, wrong types and values out of range are errors that name the place in
// the document. Writing gives back what reading takes, so changes while the service runs are
// edits of the document, checked like a file.
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "state.h"

namespace vynd {

using json = nlohmann::ordered_json; // keeps the keys in a sensible order for people

// The text is "PLACE: REASON", the place as a JSON pointer.
struct scenario_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws scenario_error, its text with the file's name in front.
fabric_state read_scenario(const std::string &file);

fabric_state state_from_json(const json &document);
json state_to_json(const fabric_state &state);

// The text of an exception of the JSON library without the library's own numbering.
std::string json_reason(const std::exception &error);

} // namespace vynd
