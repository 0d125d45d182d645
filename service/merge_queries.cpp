// Merges as records of the wire.
//
// A client walks a feature from the physical row to the logical rows. It asks for the physical row
// with a logical scope without a VSAN. At the end it gets the physical row again or, if there is
// none, a reply with 0 entries.
#include "merge_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

using merge_rows = std::map<scope, merge_state>;

merge_rows::const_iterator next_merge(const merge_rows &rows, uint32_t scope_type, uint32_t vsan)
{
    if (scope_type == VYN_SERVICE_NO_SCOPE)
        return rows.begin();
    if (scope_type == VYN_SERVICE_PHYSICAL)
        return rows.lower_bound({VYN_SCOPE_LOGICAL, 0});
    const auto physical = rows.find({VYN_SCOPE_PHYSICAL, 0});
    if (vsan == 0 && physical != rows.end())
        return physical;
    const auto next = rows.upper_bound({VYN_SCOPE_LOGICAL, vsan});
    return next != rows.end() ? next : physical;
}

vyn_resp_merge record_of(std::string_view name, const scope &where, const merge_state &merge)
{
    vyn_resp_merge record{};
    record.failure_code[0] = static_cast<uint8_t>(merge.failure >> 8);
    record.failure_code[1] = static_cast<uint8_t>(merge.failure);
    std::memcpy(record.app_name, name.data(), name.size());
    record.entries = 1;
    record.status = merge.status;
    record.scope = service_scope_type(where);
    record.vsan = where.vsan;
    record.failed = merge.failure != 0 ? 1 : 0;
    return record;
}

// A getnext may have no scope.
bool is_valid(const vyn_merge_key &key, uint32_t mark, uint32_t min_scope)
{
    return name_in(key.app_name).size() <= VYN_MAX_APP_NAME && key.query_mark == mark &&
           key.scope >= min_scope && key.scope <= VYN_SERVICE_PHYSICAL;
}

} // namespace

outcome read_merge(fabric &model, const query &received)
{
    const vyn_merge_key &key = received.record.request.req_merge;
    if (!is_valid(key, VYN_MERGE_QUERY_MARK,
                  received.next() ? VYN_SERVICE_NO_SCOPE : VYN_SERVICE_LOGICAL))
        return refused(VYN_ERR_BAD_REQUEST, "name is not NUL-terminated, no mark, or wrong scope");
    const feature *owner = find_feature(model.state().features, name_in(key.app_name));
    if (owner == nullptr)
        return received.next() ? refused(VYN_ERR_NO_MORE_ENTRIES, "no such feature")
                               : refused(VYN_ERR_NO_SUCH_FEATURE, "no such feature");
    const merge_rows &rows = owner->merges;
    const auto row = received.next() ? next_merge(rows, key.scope, key.vsan)
                                     : rows.find(scope_from_service(key.scope, key.vsan));
    const vyn_resp_merge reply =
        row == rows.end() ? vyn_resp_merge{} : record_of(owner->name, row->first, row->second);
    return read_reply(received, reply);
}

outcome resolve_merge(fabric &model, const query &received)
{
    const vyn_merge_key &key = received.record.request.req_merge;
    if (!is_valid(key, 0, VYN_SERVICE_LOGICAL))
        return refused(VYN_ERR_BAD_REQUEST, "name is not NUL-terminated, a mark, or wrong scope");
    const uint32_t status =
        model.resolve_merge(name_in(key.app_name), scope_from_service(key.scope, key.vsan));
    return change_reply(received, status,
                        status == VYN_ERR_NO_SUCH_FEATURE ? "no such feature"
                                                          : "no failed merge in this scope");
}

std::string merge_key(const vyn_snmp_req &record)
{
    const vyn_merge_key &key = record.request.req_merge;
    return key_text(name_in(key.app_name), key.scope, key.vsan);
}

} // namespace vynd
