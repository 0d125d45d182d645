// The peers of a scenario: those of the whole fabric, static ones, those of features, and merges
// with their members.
#pragma once

#include "document.h"

namespace vynd {

std::set<net_address> read_peers(const node &list);
json peers_to_json(const std::set<net_address> &peers);

std::map<net_address, uint32_t> read_static_peers(const node &list);
json static_peers_to_json(const std::map<net_address, uint32_t> &peers);

// Of a feature that has its name.
void read_feature_peers(const node &list, feature &owner);
json feature_peers_to_json(const feature &owner);

void read_merges(const node &list, feature &owner);
json merges_to_json(const feature &owner);

} // namespace vynd
