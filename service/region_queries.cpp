// Regions and assignments as records of the wire.
//
// The scopes of these records count the other way around than those of the fabric. Those of a
// region in a change come from where its number is in an index: region 2 in physical scope looks
// like a logical one without a VSAN, and most others have no scope at all. All of these are
// physical.
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

// Where a region is to be added; nothing for a scope or a VSAN that is none.
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
    const auto &regions = model.state().regions;
    const auto row =
        asked.next() ? regions.upper_bound(key.region_id) : regions.find(key.region_id);
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
