// Regions and assignments as records of the wire.
//
// A region's key comes from an index whose last sub-identifier is the number and whose second one
// is the scope. In the row 1.REGION of a physical region the second one is the number: 1 arrives
// as physical, 2 as logical without a VSAN, any other number without a scope. The row of a region
// in a VSAN, 2.4.VSAN.x, arrives without a scope too, and 2.2.4.VSAN.REGION with its VSAN.
// In a change, a physical region's scope is its number too: 2 arrives as logical with VSAN 0, most
// others as none. All of them count as physical.
#include "region_queries.h"

#include <optional>
#include <utility>

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

constexpr uint32_t max_added_region = 255;

bool is_vsan(uint32_t number)
{
    return number >= VYN_MIN_VSAN && number <= VYN_MAX_VSAN;
}

// Regions are ordered as in the OID index: physical ones by number, then those in VSANs.
using region_position = std::pair<scope, uint32_t>;
using region_map = std::map<uint32_t, scope>;

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
    return {named != regions.end() ? named->second : scope{}, id};
}

region_map::const_iterator next_region(const region_map &regions, const region_position &after)
{
    const auto position = [](const auto &row) { return region_position(row.second, row.first); };
    auto next = regions.end();
    for (auto row = regions.begin(); row != regions.end(); row++)
        if (position(*row) > after && (next == regions.end() || position(*row) < position(*next)))
            next = row;
    return next;
}

// Returns the scope in which to add a region: physical without a VSAN, nothing if it is invalid.
std::optional<scope> scope_to_add(const vyn_region_rec &change)
{
    if (change.scope > VYN_SERVICE_PHYSICAL)
        return std::nullopt;
    if (change.scope != VYN_SERVICE_LOGICAL || change.vsan == 0)
        return scope{};
    if (!is_vsan(change.vsan))
        return std::nullopt;
    return scope{VYN_SCOPE_LOGICAL, change.vsan};
}

outcome outcome_of(const query &received, uint32_t status)
{
    static constexpr named_value reasons[] = {{"no such region", VYN_ERR_NO_SUCH_REGION},
                                              {"already exists", VYN_ERR_REGION_EXISTS},
                                              {"has features", VYN_ERR_REGION_IN_USE},
                                              {"no such feature", VYN_ERR_NO_SUCH_FEATURE},
                                              {"not assigned", VYN_ERR_NO_FEATURE_REGION}};
    return change_reply(received, status, name_of(reasons, status));
}

std::string key_scope_text(uint32_t type, uint32_t vsan)
{
    return " scope " + std::to_string(type) +
           (type == VYN_SERVICE_LOGICAL ? " vsan " + std::to_string(vsan) : "");
}

} // namespace

outcome read_region(fabric &model, const query &received)
{
    const vyn_region_rec &key = received.record.request.region;
    if (key.op != 0)
        return refused(VYN_ERR_BAD_REQUEST, "a read with an operation");
    const region_map &regions = model.state().regions;
    const auto row = received.next() ? next_region(regions, position_of(key, regions))
                                     : regions.find(key.region_id);
    if (row == regions.end())
        return no_row(received);
    const auto &[id, where] = *row;
    return read_reply(received, vyn_resp_region{id, service_scope_type(where), where.vsan});
}

outcome change_region(fabric &model, const query &received)
{
    const vyn_region_rec &change = received.record.request.region;
    if (change.op == VYN_OP_REMOVE)
        return outcome_of(received, model.remove_region(change.region_id));
    const auto where = scope_to_add(change);
    if (change.op != VYN_OP_ADD || !where || change.region_id == 0 ||
        change.region_id > max_added_region)
        return refused(VYN_ERR_BAD_REQUEST,
                       "unknown operation, id not from 1 to 255, or wrong scope");
    return outcome_of(received, model.add_region(change.region_id, *where));
}

outcome read_assignment(fabric &model, const query &received)
{
    const vyn_feature_region_rec &key = received.record.request.feature_region;
    const std::string_view name = name_in(key.app_name);
    if (key.op != 0 || name.size() > VYN_MAX_APP_NAME || key.scope > VYN_SERVICE_PHYSICAL)
        return refused(VYN_ERR_BAD_REQUEST,
                       "an operation, name is not NUL-terminated, or wrong scope");
    const std::vector<feature> &features = model.state().features;
    const scope where = scope_from_service(key.scope, key.vsan);

    feature_row<region_rows> row;
    if (received.next())
        row = next_row(features, &feature::regions, name, where);
    else if (const feature *owner = find_feature(features, name); owner != nullptr)
        row = {owner, find_assignment(owner->regions, where)};
    if (row.owner == nullptr || row.row == row.owner->regions.end())
        return received.next() ? no_row(received) : outcome_of(received, VYN_ERR_NO_FEATURE_REGION);

    vyn_resp_feature_region reply{};
    reply.region_id = row.row->second;
    reply.scope = service_scope_type(row.row->first);
    reply.vsan = row.row->first.vsan;
    std::memcpy(reply.app_name, row.owner->name.data(), row.owner->name.size());
    return read_reply(received, reply);
}

outcome change_assignment(fabric &model, const query &received)
{
    const vyn_feature_region_rec &change = received.record.request.feature_region;
    const std::string_view name = name_in(change.app_name);
    if (change.op > VYN_OP_REMOVE || name.size() > VYN_MAX_APP_NAME ||
        change.scope > VYN_SERVICE_PHYSICAL ||
        (change.scope == VYN_SERVICE_LOGICAL && !is_vsan(change.vsan)))
        return refused(VYN_ERR_BAD_REQUEST,
                       "unknown operation, name is not NUL-terminated, or wrong scope");
    const scope where = scope_from_service(change.scope, change.vsan);
    return outcome_of(received, change.op == VYN_OP_ADD
                                    ? model.assign_region(name, where, change.region_id)
                                    : model.unassign_region(name, where));
}

std::string region_key(const vyn_snmp_req &record)
{
    const vyn_region_rec &key = record.request.region;
    return "region " + std::to_string(key.region_id) + key_scope_text(key.scope, key.vsan);
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
           std::to_string(change.region_id) + key_scope_text(change.scope, change.vsan);
}

} // namespace vynd
