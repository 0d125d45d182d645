// The client library's registry of features, read from the service.
//
// The registry is read at the start, and again before the next scan or search once the service has
// come back, because its features may have changed. If that fails, the previous registry stays in
// use. A reading takes one request for each page. The features are sorted here, whatever order the
// service sends: walks depend on it.
//
// A reading at the start has a budget of its own, a later one that of the SNMP request that needs
// it. If a reading fails after some pages, the next one waits ten times as long as it took, so
// readings take less than a tenth of the agent's time. If it fails before the first page, nothing
// waits: it was short, or the transport has met the timeout and does not wait again.
//
// A feature keeps its entry while it is in use. Once the service no longer has the feature, a
// caller may still hold the entry, or a scan may be at it. So the entry is freed by the first
// reading in a later SNMP request. Until then lookups skip it and its `next` stays valid.
//
// A reading sets what the service stores, so a change that was not stored is undone. The pending
// action is the exception: it belongs to the SET that is about to run it.

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

#include "budget.h"
#include "host.h"
#include "outage.h"
#include "socket.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

namespace vyn_host {
namespace {

constexpr size_t max_features = 10'000; // the rest is left out, so that a reading always ends

using vynd::name_field;
static_assert(sizeof(vyn_feature_entry::name) == sizeof(name_field));

using page = std::vector<vynd::registry_entry>;

struct feature {
    vyn_feature_entry entry;
    bool in_use;         // the last reading has it
    uint32_t dropped_in; // not in use: requests_begun() of the first reading without it
};

class feature_registry {
  public:
    // Reads the registry and reports whether that worked. Throws nothing, because the agent is
    // above: without memory the registry stays unchanged.
    bool read();

    void start_scan()
    {
        refresh();
        scanned_ = &before_first_;
    }
    vyn_feature_entry *scan_next()
    {
        if (scanned_ != nullptr)
            scanned_ = scanned_->next;
        return scanned_;
    }
    vyn_feature_entry *find(const char *name);

  private:
    void refresh();
    uint32_t read_pages(size_t *total);
    void make_known(const vynd::registry_entry &wire);
    size_t adopt(const page &features);

    // By name, its length byte included, which is the order of the walks. The keys are in the
    // entries.
    std::map<std::string_view, std::unique_ptr<feature>> known_;
    vyn_feature_entry before_first_{};     // only its next is used
    vyn_feature_entry *scanned_ = nullptr; // the last entry that the scan has returned
    bool ever_read_ = false;
    uint32_t generation_ = 0; // of the service that was read
    int64_t pause_until_ = 0; // after a reading that has failed
} the_registry;

// Returns the key of a valid name.
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

// Reads one page, from the feature of that index. Adds the valid entries; *received counts all.
uint32_t read_page(size_t index, page *features, size_t *received)
{
    be32 first = static_cast<uint32_t>(index);
    void *block = nullptr;
    uint32_t length = sizeof(first);
    const uint32_t error = ask_service(vynd::opcode_registry, VYN_MSG_GET, &first, &block, &length);
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

void update(vyn_feature_entry *entry, const vynd::registry_entry &wire)
{
    entry->show_cfg_option = wire.show_cfg_option;
    entry->entry_attr = wire.entry_attr;
    entry->scope_type = wire.scope_type;
    entry->scope_value = wire.scope_value;
    entry->flags = wire.flags;
    entry->flags2 = wire.flags2;
}

// Adds an entry that is not in use yet, unless there is one of that name.
void feature_registry::make_known(const vynd::registry_entry &wire)
{
    if (known_.count(key_of(wire.name)) != 0)
        return;
    auto made = std::make_unique<feature>();
    memcpy(made->entry.name, wire.name, wire.name[0] + size_t{1});
    made->entry.action = wire.action;
    const std::string_view key = key_of(made->entry.name);
    known_.emplace(key, std::move(made));
}

// Makes these features, and no others, the ones in use. Returns their number. Allocates first, so
// that a reading is adopted as a whole or not at all.
size_t feature_registry::adopt(const page &features)
{
    for (const vynd::registry_entry &wire : features)
        make_known(wire);

    for (auto &[key, each] : known_) {
        if (each->in_use)
            each->dropped_in = requests_begun();
        each->in_use = false;
    }
    size_t in_use = 0;
    for (const vynd::registry_entry &wire : features) {
        feature &named = *known_.find(key_of(wire.name))->second;
        if (named.in_use)
            continue;
        named.in_use = true;
        in_use++;
        update(&named.entry, wire);
    }

    std::erase_if(known_, [](const auto &each) {
        return !each.second->in_use && each.second->dropped_in != requests_begun();
    });

    vyn_feature_entry *next = nullptr;
    for (auto each = known_.rbegin(); each != known_.rend(); ++each) {
        each->second->entry.next = next;
        if (each->second->in_use)
            next = &each->second->entry;
    }
    before_first_.next = next;
    return in_use;
}

// *total counts the features that the service has sent, also if the reading fails.
uint32_t feature_registry::read_pages(size_t *total)
{
    page features;
    uint32_t generation = 0;
    for (size_t received = 1; received != 0 && *total < max_features; *total += received) {
        const uint32_t error = read_page(*total, &features, &received);
        if (error != 0)
            return error;
        if (*total == 0)
            generation = the_outage.generation(); // if it changes later on, we read again
    }
    const size_t in_use = adopt(features);
    if (*total >= max_features)
        snmp_log(LOG_WARNING, "vyn: the service has too many features; the first %zu are known\n",
                 *total);
    if (in_use != *total)
        snmp_log(LOG_WARNING,
                 "vyn: ignored %zu of %zu features of the service: invalid or duplicate names\n",
                 *total - in_use, *total);
    ever_read_ = true;
    generation_ = generation;
    return 0;
}

bool feature_registry::read()
{
    constexpr int64_t pause_factor = 10;
    const int64_t begin = vynd::now_ms();
    size_t received = 0;
    try {
        if (read_pages(&received) == 0)
            return true;
    } catch (const std::exception &) {
    }
    const int64_t end = vynd::now_ms();
    pause_until_ = received != 0 ? end + pause_factor * (end - begin) : end;
    return false;
}

// During a pause the previous registry stays in use. Without one the SNMP request must fail: it is
// not known whether a feature exists.
void feature_registry::refresh()
{
    if (ever_read_ && generation_ == the_outage.generation())
        return;
    if (vynd::now_ms() >= pause_until_)
        read();
    else if (!ever_read_)
        the_budget.refuse();
}

vyn_feature_entry *feature_registry::find(const char *name)
{
    refresh();
    const size_t length = name != nullptr ? strnlen(name, VYN_MAX_FEATURE_NAME + 1) : 0;
    if (length == 0 || length > VYN_MAX_FEATURE_NAME)
        return nullptr;
    name_field key = {static_cast<uint8_t>(length)};
    memcpy(key + 1, name, length);
    const auto found = known_.find(key_of(key));
    return found != known_.end() && found->second->in_use ? &found->second->entry : nullptr;
}

} // namespace
} // namespace vyn_host

using namespace vyn_host;

VYN_EXPORT int query_and_build_vyn_registrations(void)
{
    the_budget.begin(0);
    const bool done = the_registry.read();
    the_budget.end();
    return done ? 0 : 1;
}

VYN_EXPORT void vyn_scanFeatureInit(void)
{
    the_registry.start_scan();
}

VYN_EXPORT vyn_feature_entry *vyn_scanFeatureNext(void)
{
    return the_registry.scan_next();
}

VYN_EXPORT vyn_feature_entry *vyn_getFeatureEntry(const char *name)
{
    return the_registry.find(name);
}
