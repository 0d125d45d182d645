// Walks of generated fabrics: every row, OIDs that only increase, a GET for each, and a GETNEXT from anywhere that ends
// at the first row behind it. The fabrics keep to what walks can show, and the starts to indexes that a table reads in
// the order of OIDs.
//
// A fabric is its seed, which a failure prints; VYN_WALK_SEED is the first of six.

#include "fabric_agent.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>
#include <set>

namespace {

using nlohmann::json;

struct generator {
    std::mt19937 random;
    std::map<unsigned long, size_t> rows = {}; // of each table in the fabric

    unsigned from(unsigned first, unsigned last) { return first + random() % (last - first + 1); }
    bool maybe() { return from(0, 1) == 1; }

    json fabric() {
        std::set<std::pair<size_t, std::string>> names; // in the order of the registry
        for (unsigned i = from(0, 12), length; i > 0; i--) length = from(1, 9), names.insert({length, text(length)});
        json all = {{"features", json::array()}, {"peers", addresses(5)}, {"static_peers", addresses(11)}};
        while (rows[9] < 9) all["regions"].push_back({{"scope", "physical"}, {"id", 1000 * ++rows[9]}});
        for (const auto &[length, name] : names) all["features"].push_back(feature_of(name, 256 * ++rows[1]));
        return all;
    }

    // Of characters above the blank, which stands for what an index lacks of a name.
    std::string text(unsigned length) {
        const std::string characters[] = {"!", "0", "A", "z", "\u0080", "\u00ff"};
        std::string text;
        while (length-- > 0) text += characters[from(0, 5)];
        return text;
    }
    json addresses(unsigned long table) {
        json all = json::array();
        for (unsigned i = from(0, 5); i > 0; i--) {
            const std::string any = std::to_string(from(0, 255)), end = std::to_string(10 * i + from(3, 9));
            const std::string kinds[] = {"9." + any + ".0." + end, "fe80::" + any + ":" + end, text(from(2, 18)) + end};
            all.push_back({{"address", kinds[from(0, 2)]}});
        }
        rows[table] += all.size();
        return all;
    }
    json places(unsigned long table, bool everywhere, bool in_vsans, unsigned block = 0) {
        json all = json::array();
        if (everywhere) all.push_back({{"scope", "physical"}});
        for (unsigned i = in_vsans ? from(0, 3) : 0; i > 0; i--)
            all.push_back({{"vsan", 4 * from(1, 15) + i + (block ? block : 256 * from(0, 14))}});
        rows[table] += all.size();
        return all;
    }

    // A walk of states ends at a feature in physical scope that has none there. One of merges takes the VSAN along to
    // the next feature, so that one has higher ones, or physical scope alone.
    json feature_of(const std::string &name, unsigned vsans) {
        const bool everywhere = maybe(), logical = maybe(), merged_everywhere = maybe();
        json one = {{"name", name},
                    {"scopes", json::array()},
                    {"states", places(7, everywhere, logical)},
                    {"locks", places(2, maybe(), maybe())},
                    {"peers", places(0, maybe(), maybe())},
                    {"merges", places(3, merged_everywhere, !merged_everywhere, vsans)}};
        if (everywhere) one["scopes"].push_back("physical");
        if (logical) one["scopes"].push_back("logical");
        for (json &place : one["peers"]) place["peers"] = addresses(6);
        for (json &place : one["merges"]) place["members"] = addresses(4);
        one["regions"].push_back(maybe() ? json{{"scope", "physical"}} : json{{"vsan", from(1, 4093)}});
        one["regions"][0]["region"] = 1000 * from(1, 9);
        rows[10]++;
        return one;
    }
};

// Somewhere on the way to a row, beside it or behind it. What the tables read in another order than that of OIDs is
// left out: a number over 255 or a NUL where there is an octet, a scope or a length that is none, what follows a
// region's number (the last one counts), a part of a textual address, and of the tables of states and members any part
// of an index.
oid_name start_near(generator &random, oid_name name) {
    enum { operations = 1, merge_members = 4, peers, feature_peers, states, regions = 9, static_peers = 11 };
    const unsigned long table = name[1] == 1 ? name[2] : 0;
    const bool by_address = table == peers || table == static_peers;
    const bool in_parts = table != 0 && table != merge_members && table != states && (!by_address || name[5] != 16);
    switch (random.from(0, 3)) {
    case 0: // of the tables and columns
        name.resize(random.from(1, std::min<size_t>(name.size(), 5)));
        name.back() = random.maybe() ? name.back() + 1 : random.from(0, 300);
        break;
    case 1:
        if (table != regions) name.push_back(random.maybe() || table == operations ? random.from(0, 255) : 4294967295);
        break;
    case 2:
        if (name.back() > 2) name.back() = random.from(3, 255);
        break;
    case 3:
        if (!in_parts) break;
        const size_t name_end = 6 + name[5];
        name.resize(random.from(5, table == feature_peers ? name_end : name.size()));
        if (name.size() > 5 && name.size() <= name_end && !by_address && table != regions && random.maybe())
            name.back() = random.from(1, 255);
    }
    return name;
}

class agent_walks : public fabric_agent {};

TEST_F(agent_walks, go_on_from_anywhere) {
    use_sanitizers();
    const int first = getenv("VYN_WALK_SEED") ? atoi(getenv("VYN_WALK_SEED")) : 1;
    for (int seed = first; seed < first + 6; seed++) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        generator random{std::mt19937(seed)};
        start_with(random.fabric().dump());
        const std::vector<binding> walk = checked_walk("{}");
        const std::map<unsigned long, unsigned long> columns = {{1, 2}, {2, 3}, {3, 3}, {4, 3},  {5, 2},
                                                                {6, 4}, {7, 3}, {9, 4}, {10, 4}, {11, 3}};
        for (const auto &[table, column] : columns)
            EXPECT_EQ(rows_of(walk, table, column), random.rows[table]) << table;
        for (int round = 0; round < 10; round++) {
            std::string asked, expected, got;
            for (int i = 0; i < 40; i++) {
                const oid_name start = start_near(random, walk[random.from(0, walk.size() - 1)].name);
                asked += " {}";
                for (unsigned long part : start) asked += "." + std::to_string(part);
                const auto behind = std::find_if(walk.begin(), walk.end(), [&](auto &row) { return row.name > start; });
                expected += behind != walk.end() ? behind->line + "\n" : "";
            }
            for (const binding &row : parse(manager("snmpgetnext -Ox", oper, asked))) got += row.line + "\n";
            EXPECT_EQ(got, expected) << asked;
        }
        stop_all();
    }
    EXPECT_EQ(run("cat " + folder + "/snmpd.out"), "");
}

} // namespace
