// Merges as records of the wire.
//
// The scopes of these records count the other way around than those of the fabric. A client walks
// a feature from its physical row, which it gets for a logical scope without a VSAN, to the logical
// ones; that there are no further ones it learns from the physical row coming again, or for a
// feature without one from a reply that holds no entry.
#include "merge_queries.h"

#include "keys.h"
#include "replies.h"

namespace vynd {

namespace {

using merge_rows = std::map<place, merge_state>;

static_assert(sizeof(vyn_merge_key::app_name) == longest_record_name + 1 &&
              sizeof(vyn_resp_merge::app_name) == longest_record_name + 1);

merge_rows::const_iterator next_merge(const merge_rows &rows, uint32_t scope, uint32_t vsan)
{
    if (scope == VYN_SERVICE_NO_SCOPE)
        return rows.begin();
    if (scope == VYN_SERVICE_PHYSICAL)
        return rows.lower_bound({VYN_SCOPE_LOGICAL, 0});
    const auto physical = rows.find({VYN_SCOPE_PHYSICAL, 0});
    if (vsan == 0 && physical != rows.end())
        return physical;
    const auto next = rows.upper_bound({VYN_SCOPE_LOGICAL, vsan});
    return next != rows.end() ? next : physical;
}

vyn_resp_merge record_of(std::string_view name, const place &where, const merge_state &merge)
{
    vyn_resp_merge record{};
    record.failure_code[0] = static_cast<uint8_t>(merge.failure >> 8);
    record.failure_code[1] = static_cast<uint8_t>(merge.failure);
    std::memcpy(record.app_name, name.data(), name.size());
    record.entries = 1;
    record.status = merge.status;
    record.scope = service_scope(where);
    record.vsan = where.vsan;
    record.failed = merge.failure != 0;
    return record;
}

// Whether the key can be one at all: getnext asks without a scope too.
bool makes_sense(const vyn_merge_key &key, uint32_t mark, uint32_t least_scope)
{
    return name_in(key.app_name).size() <= longest_record_name && key.query_mark == mark &&
           key.scope >= least_scope && key.scope <= VYN_SERVICE_PHYSICAL;
}

} // namespace

outcome read_merge(fabric &model, const query &asked)
{
    const vyn_merge_key &key = asked.record.request.req_merge;
    if (!makes_sense(key, VYN_MERGE_QUERY_MARK,
                     asked.next() ? VYN_SERVICE_NO_SCOPE : VYN_SERVICE_LOGICAL))
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, the mark and a scope");
    const feature *owner = find_feature(model.state().features, name_in(key.app_name));
    if (!owner)
        return asked.next() ? refused(VYN_ERR_NO_MORE_ENTRIES, "no such feature")
                            : refused(VYN_ERR_NO_SUCH_FEATURE, "no such feature");
    const merge_rows &rows = owner->merges;
    const auto row = asked.next() ? next_merge(rows, key.scope, key.vsan)
                                  : rows.find(service_place(key.scope, key.vsan));
    const vyn_resp_merge reply =
        row == rows.end() ? vyn_resp_merge{} : record_of(owner->name, row->first, row->second);
    return found(asked.record.query_type, reply);
}

outcome resolve_merge(fabric &model, const query &asked)
{
    const vyn_merge_key &key = asked.record.request.req_merge;
    if (!makes_sense(key, 0, VYN_SERVICE_LOGICAL))
        return refused(VYN_ERR_BAD_REQUEST, "expected a name with an end, no mark and a scope");
    const uint32_t status =
        model.resolve_merge(name_in(key.app_name), service_place(key.scope, key.vsan));
    return changed(asked.record.query_type, status,
                   status == VYN_ERR_NO_SUCH_FEATURE ? "no such feature" : "no failed merge there");
}

std::string merge_key(const vyn_snmp_req &record)
{
    const vyn_merge_key &key = record.request.req_merge;
    return key_text(name_in(key.app_name), key.scope, key.vsan);
}

} // namespace vynd
