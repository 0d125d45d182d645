// The client library's registry of features, read from the service.
//
// The registry is read at start, and again before the next scan or search when the service has come
// back since: its features may have changed. When that fails, the old one serves on. A read takes
// as many requests as there are pages. The order of the features is made here and not taken from
// the service: walks depend on it.
//
// A reading waits as long as an SNMP request may: at start it has a budget of its own, and later
// that of the SNMP request that needs it. After a reading that failed with some pages, the next one
// waits ten times as long as it took, so readings take less than a tenth of the agent's time. After
// one without any page there is no pause: it was short, or the transport has seen the timeout and
// does not wait again.
//
// A feature keeps its entry while it is in use. When the service has forgotten it, a caller may
// still hold the entry, or a scan may stand on it, however often the registry is read meanwhile: so
// it goes only with a reading in a later request of a manager than the one that put it out of use.
// Until then it cannot be found, and leads on to the feature behind it like any other.
//
// A reading sets what the service keeps, so a change that was not stored there is undone by it. The
// pending action is the exception: it belongs to whoever is about to run it.

#include "libvyn.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <string_view>
#include <vector>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include "connection.h"
#include "host.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vyn_host {
namespace {

constexpr size_t most_features = 10'000; // the rest is left out, so that a reading always ends

using name_field = uint8_t[VYN_MAX_FEATURE_NAME + 2];
static_assert(sizeof(vyn_feature_entry::name) == sizeof(name_field) &&
              sizeof(vynd::registry_entry::name) == sizeof(name_field));

using page = std::vector<vynd::registry_entry>;

struct feature {
    vyn_feature_entry entry;
    bool in_use;         // the service has named it in the last reading
    uint32_t dropped_in; // out of use: the requests_begun() of the reading that did not name it
};

// By name, its length byte included, which makes it the order of the walks. The keys lie in the
// entries.
std::map<std::string_view, std::unique_ptr<feature>> known;
vyn_feature_entry before_first; // only its next means something
vyn_feature_entry *scanned;     // what the scan has returned last
bool ever_read;
uint32_t read_generation;
int64_t pause_until; // after a reading that has failed

// Works on both kinds of entry; the name is a valid one.
std::string_view key_of(const name_field &name)
{
    return {reinterpret_cast<const char *>(name), name[0] + size_t{1}};
}

bool is_valid(const vynd::registry_entry &entry)
{
    const size_t length = entry.name[0];
    return length >= 1 && length <= VYN_MAX_FEATURE_NAME &&
           strnlen(reinterpret_cast<const char *>(entry.name) + 1, sizeof(entry.name) - 1) ==
               length;
}

// One page, from the feature of that index on. Adds the valid entries; *received counts all.
u32 read_page(size_t index, page *features, size_t *received)
{
    be32 first = static_cast<uint32_t>(index);
    void *block = nullptr;
    u32 length = sizeof(first);
    const u32 error = ask_service(vynd::opcode_registry, VYN_MSG_GET, &first, &block, &length);
    const std::unique_ptr<void, decltype(&free)> owner(block, free);
    if (error != 0)
        return error;
    if (length % sizeof(vynd::registry_entry) != 0)
        return VYN_ERR_BAD_REPLY;
    *received = length / sizeof(vynd::registry_entry);
    for (size_t i = 0; i < *received; i++) {
        vynd::registry_entry entry;
        memcpy(&entry, static_cast<const char *>(block) + i * sizeof(entry), sizeof(entry));
        if (is_valid(entry))
            features->push_back(entry);
    }
    return 0;
}

// The feature of that name, made out of use when it is new.
void make_known(const vynd::registry_entry &wire)
{
    if (known.count(key_of(wire.name)) != 0)
        return;
    auto made = std::make_unique<feature>();
    memcpy(made->entry.name, wire.name, wire.name[0] + size_t{1});
    made->entry.action = wire.action;
    const std::string_view key = key_of(made->entry.name);
    known.emplace(key, std::move(made));
}

void update(vyn_feature_entry *entry, const vynd::registry_entry &wire)
{
    entry->show_cfg_option = wire.show_cfg_option;
    entry->entry_attr = wire.entry_attr;
    entry->scope_type = wire.scope_type;
    entry->scope_value = wire.scope_value;
    entry->flags = wire.flags;
    entry->flags2 = wire.flags2;
}

// Makes these features, and no others, the ones in use. Returns how many they are. All that can
// run out of memory comes first, so the registry is never half of one reading.
size_t adopt(const page &features)
{
    for (const vynd::registry_entry &wire : features)
        make_known(wire);

    for (auto &[key, each] : known) {
        if (each->in_use)
            each->dropped_in = requests_begun();
        each->in_use = false;
    }
    size_t in_use = 0;
    for (const vynd::registry_entry &wire : features) {
        feature &named = *known.find(key_of(wire.name))->second;
        if (named.in_use)
            continue;
        named.in_use = true;
        in_use++;
        update(&named.entry, wire);
    }

    std::erase_if(known, [](const auto &each) {
        return !each.second->in_use && each.second->dropped_in != requests_begun();
    });

    vyn_feature_entry *next = nullptr;
    for (auto each = known.rbegin(); each != known.rend(); ++each) {
        each->second->entry.next = next;
        if (each->second->in_use)
            next = &each->second->entry;
    }
    before_first.next = next;
    return in_use;
}

// *total: the features that the service has sent, also when the reading fails.
u32 read_registry(size_t *total)
{
    page features;
    uint32_t generation = 0;
    for (size_t received = 1; received != 0 && *total < most_features; *total += received) {
        const u32 error = read_page(*total, &features, &received);
        if (error != 0)
            return error;
        if (*total == 0)
            generation = service_generation(); // if it changes while we read on, we read again
    }
    const size_t in_use = adopt(features);
    if (*total >= most_features)
        snmp_log(LOG_WARNING, "vyn: the service has too many features; the first %zu are known\n",
                 *total);
    if (in_use != *total)
        snmp_log(LOG_WARNING,
                 "vyn: passed over %zu of %zu features of the service: bad or double names\n",
                 *total - in_use, *total);
    ever_read = true;
    read_generation = generation;
    return 0;
}

// Nothing may be thrown into the agent; without memory the registry stays as it is.
bool try_read()
{
    constexpr int64_t pause_factor = 10;
    const int64_t begin = now_ms();
    size_t received = 0;
    try {
        if (read_registry(&received) == 0)
            return true;
    } catch (const std::exception &) {
    }
    const int64_t end = now_ms();
    pause_until = received != 0 ? end + pause_factor * (end - begin) : end;
    return false;
}

// In a pause the old registry serves on. If there is none yet, nobody knows whether a feature is
// there, so the SNMP request must fail.
void refresh()
{
    if (ever_read && read_generation == service_generation())
        return;
    if (now_ms() >= pause_until)
        try_read();
    else if (!ever_read)
        the_budget.refuse();
}

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT int query_and_build_vyn_registrations(void)
{
    the_budget.begin(0);
    const bool done = try_read();
    the_budget.end();
    return done ? 0 : 1;
}

VYN_EXPORT void vyn_scanFeatureInit(void)
{
    refresh();
    scanned = &before_first;
}

VYN_EXPORT vyn_feature_entry *vyn_scanFeatureNext(void)
{
    if (scanned != nullptr)
        scanned = scanned->next;
    return scanned;
}

VYN_EXPORT vyn_feature_entry *vyn_getFeatureEntry(const char *name)
{
    refresh();
    const size_t length = name != nullptr ? strnlen(name, VYN_MAX_FEATURE_NAME + 1) : 0;
    if (length == 0 || length > VYN_MAX_FEATURE_NAME)
        return nullptr;
    name_field wanted = {static_cast<uint8_t>(length)};
    memcpy(wanted + 1, name, length);
    const auto found = known.find(key_of(wanted));
    return found != known.end() && found->second->in_use ? &found->second->entry : nullptr;
}
