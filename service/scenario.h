// Scenarios: the fabric as a JSON document, read from a file and written for people.
//
// Reading is strict, so that a scenario never means something else than its author intended:
// unknown keys, wrong types and values out of range are errors that name their path in the
// document. A written document reads back as the same fabric, so a change while the service runs
// is an edit of the document, checked like a file.
#pragma once

#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

#include "state.h"

namespace vynd {

using json = nlohmann::ordered_json; // keeps the order of the keys

// The text is "PATH: REASON", the path as a JSON pointer.
struct scenario_error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Throws scenario_error, its text after the file's name.
fabric_state read_scenario(const std::string &file);

fabric_state state_from_json(const json &document);
json state_to_json(const fabric_state &state);

// Returns the text of an exception without the JSON library's numbering.
std::string json_reason(const std::exception &error);

} // namespace vynd
