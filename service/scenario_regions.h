// The regions of a scenario, and the assignments of features to them.
#pragma once

#include "document.h"

namespace vynd {

std::map<uint32_t, scope> read_regions(const node &list);
json regions_to_json(const std::map<uint32_t, scope> &regions);

// Of a feature that has its name. `regions` are those of the fabric, by their ids.
void read_feature_regions(const node &list, const std::map<uint32_t, scope> &regions,
                          feature &owner);
json feature_regions_to_json(const feature &owner);

} // namespace vynd
