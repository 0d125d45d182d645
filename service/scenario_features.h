// The features of a scenario: their entries in the registry, and all that they have.
#pragma once

#include <set>
#include <string>

#include "document.h"

namespace vynd {

// `regions` are those of the fabric, by their ids. `names` are those of the features read so far;
// this one's is added.
feature read_feature(const node &value, const std::map<uint32_t, scope> &regions,
                     std::set<std::string> &names);

json feature_to_json(const feature &entry);

} // namespace vynd
