// Finding features, and walking their locks.
//
// Nothing here changes a feature: what requests change is in the fabric, which owns them.
#include "feature.h"

#include <algorithm>
#include <utility>

namespace vynd {

namespace {

std::vector<feature>::const_iterator first_from(const std::vector<feature> &features,
                                                std::string_view name)
{
    return std::lower_bound(
        features.begin(), features.end(), name,
        [](const feature &entry, std::string_view key) { return registry_order(entry.name, key); });
}

} // namespace

std::string place_text(const place &where)
{
    return where.scope == VYN_SCOPE_PHYSICAL ? "physical" : "vsan " + std::to_string(where.vsan);
}

bool registry_order(std::string_view a, std::string_view b)
{
    // Characters of strings are compared as unsigned, as strcmp does.
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

void sort_features(std::vector<feature> &features)
{
    std::sort(features.begin(), features.end(),
              [](const feature &a, const feature &b) { return registry_order(a.name, b.name); });
}

const feature *find_feature(const std::vector<feature> &features, std::string_view name)
{
    const auto found = first_from(features, name);
    return found != features.end() && found->name == name ? &*found : nullptr;
}

feature *find_feature(std::vector<feature> &features, std::string_view name)
{
    return const_cast<feature *>(find_feature(std::as_const(features), name));
}

lock_row next_lock(const std::vector<feature> &features, std::string_view name, const place &where)
{
    auto owner = first_from(features, name);
    if (owner != features.end() && owner->name == name) {
        const auto next = owner->locks.upper_bound(where);
        if (next != owner->locks.end())
            return {&*owner, next->first, &next->second};
        ++owner;
    }
    owner = std::find_if(owner, features.end(),
                         [](const feature &entry) { return !entry.locks.empty(); });
    if (owner == features.end())
        return {};
    const auto &[first, holder] = *owner->locks.begin();
    return {&*owner, first, &holder};
}

} // namespace vynd
