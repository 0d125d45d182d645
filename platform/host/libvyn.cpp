// The client library's registry of features, read from the service.
//
// The registry is read at start, and again before the next scan or search when the service has come
// back since: its features may have changed. When that fails, the old one serves on. Entries of the
// registry before the last reading are kept for one more, because a caller may still hold one of
// them, or be in the middle of a scan.
//
// A read takes as many requests as there are pages. The order of the features is made here and not
// taken from the service: walks depend on it.

#include "libvyn.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <vector>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "host.h"
#include "mts.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vyn_host {
namespace {

constexpr size_t most_features = 10'000; // the rest is left out, so that a reading always ends
constexpr size_t longest_name = 82;

using registry = std::vector<vyn_feature_entry>;

registry current, previous;
bool ever_read;
uint32_t read_generation;
vyn_feature_entry *next_of_scan;

const char *name_of(const vyn_feature_entry &entry)
{
    return reinterpret_cast<const char *>(entry.name);
}

bool is_valid(const vynd::registry_entry &entry)
{
    const size_t length = entry.name[0];
    return length >= 1 && length <= longest_name &&
           strnlen(reinterpret_cast<const char *>(entry.name) + 1, sizeof(entry.name) - 1) ==
               length;
}

vyn_feature_entry entry_of(const vynd::registry_entry &wire)
{
    vyn_feature_entry entry{};
    memcpy(entry.name, wire.name, wire.name[0] + size_t{1});
    entry.show_cfg_option = wire.show_cfg_option;
    entry.entry_attr = wire.entry_attr;
    entry.action = wire.action;
    entry.scope_type = wire.scope_type;
    entry.scope_value = wire.scope_value;
    entry.flags = wire.flags;
    entry.flags2 = wire.flags2;
    return entry;
}

// One page, from the feature of that index on. Adds the valid entries; *received counts all.
u32 read_page(size_t index, registry *features, size_t *received)
{
    be32 first = static_cast<uint32_t>(index);
    void *block = nullptr;
    u32 length = sizeof(first);
    const u32 error = cmi_req_resp(vynd::opcode_registry, VYN_MSG_GET, &first, &block, &length, "",
                                   0, 0, mts_response_q, 0);
    const std::unique_ptr<void, decltype(&free)> owner(block, free);
    if (error != 0)
        return error;
    if (length % sizeof(vynd::registry_entry) != 0)
        return ERR_BAD_REPLY;
    *received = length / sizeof(vynd::registry_entry);
    for (size_t i = 0; i < *received; i++) {
        vynd::registry_entry entry;
        memcpy(&entry, static_cast<const char *>(block) + i * sizeof(entry), sizeof(entry));
        if (is_valid(entry))
            features->push_back(entry_of(entry));
    }
    return 0;
}

void put_in_order(registry *features)
{
    std::sort(features->begin(), features->end(),
              [](const auto &a, const auto &b) { return strcmp(name_of(a), name_of(b)) < 0; });
    const auto same = [](const auto &a, const auto &b) {
        return strcmp(name_of(a), name_of(b)) == 0;
    };
    features->erase(std::unique(features->begin(), features->end(), same), features->end());
    for (size_t i = 0; i + 1 < features->size(); i++)
        (*features)[i].next = &(*features)[i + 1];
}

u32 read_registry()
{
    registry features;
    size_t total = 0;
    uint32_t generation = 0;
    for (size_t received = 1; received != 0 && total < most_features; total += received) {
        const u32 error = read_page(total, &features, &received);
        if (error != 0)
            return error;
        if (total == 0)
            generation = service_generation(); // if it changes while we read on, we read again
    }
    put_in_order(&features);
    if (total >= most_features)
        snmp_log(LOG_WARNING, "vyn: the service has too many features; the first %zu are known\n",
                 total);
    if (features.size() != total)
        snmp_log(LOG_WARNING, "vyn: passed over %zu of %zu features of the service: bad names\n",
                 total - features.size(), total);
    previous = std::move(current);
    current = std::move(features);
    ever_read = true;
    read_generation = generation;
    return 0;
}

// Nothing may be thrown into the agent; without memory there is no registry.
bool try_read()
{
    try {
        return read_registry() == 0;
    } catch (const std::exception &) {
        return false;
    }
}

void refresh()
{
    if (!ever_read || read_generation != service_generation())
        try_read();
}

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT int query_and_build_vyn_registrations(void)
{
    return try_read() ? 0 : 1;
}

VYN_EXPORT void vyn_scanFeatureInit(void)
{
    refresh();
    next_of_scan = current.empty() ? nullptr : current.data();
}

VYN_EXPORT vyn_feature_entry *vyn_scanFeatureNext(void)
{
    vyn_feature_entry *entry = next_of_scan;
    if (entry != nullptr)
        next_of_scan = entry->next;
    return entry;
}

VYN_EXPORT vyn_feature_entry *vyn_getFeatureEntry(const char *name)
{
    refresh();
    if (name == nullptr)
        return nullptr;
    for (vyn_feature_entry &entry : current)
        if (strcmp(name_of(entry) + 1, name) == 0)
            return &entry;
    return nullptr;
}

VYN_EXPORT u32 vyn_mr_status2syserr(u32 code, u32 flag)
{
    return flag != 0 ? 0x40B40000 | (code & 0xffff) : 0;
}
