// Finds features by their names. The fabric, which owns them, is the only one that changes them.
#include "feature.h"

#include <algorithm>
#include <utility>

namespace vynd {

static bool is_before(std::string_view a, std::string_view b)
{
    // Characters of strings are compared as unsigned, as strcmp does.
    return a.size() != b.size() ? a.size() < b.size() : a < b;
}

std::vector<feature>::const_iterator first_from(const std::vector<feature> &features,
                                                std::string_view name)
{
    return std::lower_bound(
        features.begin(), features.end(), name,
        [](const feature &entry, std::string_view key) { return is_before(entry.name, key); });
}

std::string scope_text(const scope &where)
{
    return where.type == VYN_SCOPE_PHYSICAL ? "physical" : "vsan " + std::to_string(where.vsan);
}

region_rows::const_iterator find_assignment(const region_rows &regions, const scope &where)
{
    return where.type == 0 ? regions.begin() : regions.find(where);
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

} // namespace vynd
