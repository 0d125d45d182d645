// Regions and assignments as records of the wire.
//
// A region's key comes from an index of which the last sub-identifier is the number and the second
// one the scope. In the row 1.REGION of a physical region the second one is the number: 1 arrives
// as physical, 2 as logical without a VSAN, any other number without a scope. The row of a region
// in a VSAN, 2.4.VSAN.x, arrives without a scope too, and 2.2.4.VSAN.REGION with its VSAN.
#include "region_queries.h"

#include <array>

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t highest_added_region = 255;

static_assert(sizeof(vyn_feature_region_rec::app_name) == longest_record_name + 1 &&
              sizeof(vyn_resp_feature_region::app_name) == longest_record_name + 1);

bool is_vsan(uint32_t number)
{
    return number >= 1 && number <= highest_vsan;
}

// Regions are ordered as in the OID index: physical ones by number, then those in VSANs.
using region_position = std::pair<place, uint32_t>;
using region_map = std::map<uint32_t, place>;

// Returns the position that a GETNEXT continues after.
region_position position_of(const vyn_region_rec &key, const region_map &regions)
{
    const uint32_t id = key.region_id;
    if (key.scope == VYN_SERVICE_LOGICAL && key.vsan != 0)
        return {{VYN_SCOPE_LOGICAL, key.vsan}, id};
    if (key.scope == VYN_SERVICE_LOGICAL || key.scope == VYN_SERVICE_PHYSICAL)
        return {{VYN_SCOPE_PHYSICAL, 0}, id};
    // The rows 1.1 and 1.2 arrive with a scope, so this is the index 1 or 2, before its rows.
    if (id == VYN_SCOPE_PHYSICAL || id == VYN_SCOPE_LOGICAL)
        return {{id, 0}, 0};
    const auto named = regions.find(id);
    return {named != regions.end() ? named->second : place{}, id};
}

region_map::const_iterator next_region(const region_map &regions, const region_position &after)
{
    const auto position = [](const auto &row) { return region_position(row.second, row.first); };
    auto next = regions.end();
    for (auto row = regions.begin(); row != regions.end(); ++row)
        if (position(*row) > after && (next == regions.end() || position(*row) < position(*next)))
            next = row;
    return next;
}

// Returns where to add a region: physical without a VSAN, nothing for an invalid scope or VSAN.
std::optional<place> place_to_add(const vyn_region_rec &change)
{
    if (change.scope > VYN_SERVICE_PHYSICAL)
        return std::nullopt;
    if (change.scope != VYN_SERVICE_LOGICAL || change.vsan == 0)
        return place{};
    if (!is_vsan(change.vsan))
        return std::nullopt;
    return place{VYN_SCOPE_LOGICAL, change.vsan};
}

// What the fabric has answered to a change, in words for the log.
outcome done(const query &asked, uint32_t status)
{
    static constexpr named_value reasons[] = {{"no such region", VYN_ERR_NO_SUCH_REGION},
                                              {"it is there", VYN_ERR_REGION_EXISTS},
                                              {"it has features", VYN_ERR_REGION_IN_USE},
                                              {"no such feature", VYN_ERR_NO_SUCH_FEATURE},
                                              {"not assigned", VYN_ERR_NO_FEATURE_REGION}};
    return changed(asked.record.query_type, status, name_of(reasons, status));
}

std::string scope_text(uint32_t scope, uint32_t vsan)
{
    return " scope " + std::to_string(scope) +
           (scope == VYN_SERVICE_LOGICAL ? " vsan " + std::to_string(vsan) : "");
}

} // namespace

outcome read_region(fabric &model, const query &asked)
{
    const vyn_region_rec &key = asked.record.request.region;
    if (key.op != 0)
        return refused(VYN_ERR_BAD_REQUEST, "a query changes nothing");
    const region_map &regions = model.state().regions;
    const auto row = asked.next() ? next_region(regions, position_of(key, regions))
                                  : regions.find(key.region_id);
    if (row == regions.end())
        return nothing(asked);
    const auto &[id, where] = *row;
    return found(asked.record.query_type, vyn_resp_region{id, service_scope(where), where.vsan});
}

outcome change_region(fabric &model, const query &asked)
{
    const vyn_region_rec &change = asked.record.request.region;
    if (change.op == VYN_OP_REMOVE)
        return done(asked, model.remove_region(change.region_id));
    const auto where = place_to_add(change);
    if (change.op != VYN_OP_ADD || !where || change.region_id == 0 ||
        change.region_id > highest_added_region)
        return refused(VYN_ERR_BAD_REQUEST, "no such operation, or no id from 1 to 255, or scope");
    return done(asked, model.add_region(change.region_id, *where));
}

outcome read_assignment(fabric &model, const query &asked)
{
    const vyn_feature_region_rec &key = asked.record.request.feature_region;
    const std::string_view name = name_in(key.app_name);
    if (key.op != 0 || name.size() > longest_record_name || key.scope > VYN_SERVICE_PHYSICAL)
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, and a scope or 0");
    const std::vector<feature> &features = model.state().features;
    const place where = service_place(key.scope, key.vsan);

    feature_row<region_rows> row;
    if (asked.next())
        row = next_row(features, &feature::regions, name, where);
    else if (const feature *owner = find_feature(features, name))
        row = {owner, find_assignment(owner->regions, where)};
    if (!row.owner || row.row == row.owner->regions.end())
        return asked.next() ? nothing(asked) : done(asked, VYN_ERR_NO_FEATURE_REGION);

    vyn_resp_feature_region reply{};
    reply.region_id = row.row->second;
    reply.scope = service_scope(row.row->first);
    reply.vsan = row.row->first.vsan;
    std::memcpy(reply.app_name, row.owner->name.data(), row.owner->name.size());
    return found(asked.record.query_type, reply);
}

outcome change_assignment(fabric &model, const query &asked)
{
    const vyn_feature_region_rec &change = asked.record.request.feature_region;
    const std::string_view name = name_in(change.app_name);
    if (change.op > VYN_OP_REMOVE || name.size() > longest_record_name ||
        change.scope > VYN_SERVICE_PHYSICAL ||
        (change.scope == VYN_SERVICE_LOGICAL && !is_vsan(change.vsan)))
        return refused(VYN_ERR_BAD_REQUEST, "no such operation, name without an end, or no scope");
    const place where = service_place(change.scope, change.vsan);
    return done(asked, change.op == VYN_OP_ADD ? model.assign_region(name, where, change.region_id)
                                               : model.unassign_region(name, where));
}

std::string region_key(const vyn_snmp_req &record)
{
    const vyn_region_rec &key = record.request.region;
    return "region " + std::to_string(key.region_id) + scope_text(key.scope, key.vsan);
}

std::string region_change(const vyn_snmp_req &record)
{
    return change_text(record.request.region.op) + " " + region_key(record);
}

std::string assignment_key(const vyn_snmp_req &record)
{
    const vyn_feature_region_rec &key = record.request.feature_region;
    return key_text(name_in(key.app_name), key.scope, key.vsan);
}

std::string assignment_change(const vyn_snmp_req &record)
{
    const vyn_feature_region_rec &change = record.request.feature_region;
    return change_text(change.op) + " \"" + escaped(name_in(change.app_name)) + "\" region " +
           std::to_string(change.region_id) + scope_text(change.scope, change.vsan);
}

} // namespace vynd
