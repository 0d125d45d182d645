// Regions and assignments in a scenario, and back.
//
// A region may have any id but 0 here, also one that no client can add, and features of any place
// may be assigned to it; what they cannot be assigned to is a region that is not there.
#include "scenario_regions.h"

#include "scenario_places.h"

namespace vynd {

namespace {

// The id in the member of that name, which has to be there.
uint32_t read_id(const node &value, const char *key)
{
    uint32_t id = 0;
    value.with(key, [&](const node &member) { id = member.number(); });
    if (id == 0)
        value.refuse("expected the id of a region as \"" + std::string(key) + "\", from 1");
    return id;
}

} // namespace

std::map<uint32_t, scope> read_regions(const node &list)
{
    std::map<uint32_t, scope> regions;
    list.each([&](const node &value) {
        value.expect_keys({"id", "scope", "vsan"});
        if (!regions.emplace(read_id(value, "id"), read_scope(value)).second)
            value.refuse("another one has this id");
    });
    return regions;
}

json regions_to_json(const std::map<uint32_t, scope> &regions)
{
    json result = json::array();
    for (const auto &[id, where] : regions) {
        json &entry = result.emplace_back(json{{"id", id}});
        entry.update(scope_to_json(where));
    }
    return result;
}

void read_feature_regions(const node &list, const std::map<uint32_t, scope> &regions,
                          feature &owner)
{
    list.each([&](const node &value) {
        value.expect_keys({"scope", "vsan", "region"});
        const scope where = read_free_scope(value, owner.regions);
        expect_short_name(value, owner, "regions");
        const uint32_t id = read_id(value, "region");
        if (!regions.contains(id))
            value.refuse("there is no region " + std::to_string(id));
        owner.regions.emplace(where, id);
    });
}

json feature_regions_to_json(const feature &owner)
{
    json result = json::array();
    for (const auto &[where, region] : owner.regions)
        result.emplace_back(scope_to_json(where))["region"] = region;
    return result;
}

} // namespace vynd
