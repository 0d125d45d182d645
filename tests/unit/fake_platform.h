// A platform and an agent for unit tests: answers what the test has laid out, and writes down
// everything that the module does to them, in order, as lines of text.
//
//   request 8469/1 user=alice session=7 0=00000019 4=00000001     the non-zero words by offset
//   trace 100 the text                                            a record of the event history
//   debug vyn the text                                            a line of debug output
//   set_error 1085472881 1432
//   state ntp op=2 scope=2 vsan=10                                a question for a feature's state
//   run ntp 4, store ntp, option ntp 7 2 10 1                     changes of the client library
//   indxobj_create, register_mib, ... with their arguments
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <initializer_list>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "libvyn.h"
#include "vyn_mib.h"

using octets = std::vector<uint8_t>;
using sub_ids = std::vector<oid>;
using lines = std::vector<std::string>;

struct fake_answer {
    u32 error = 0;
    std::optional<octets> reply; // a block of exactly these bytes, so that a read past them is seen
};

struct fake_state {
    int result;
    vyn_feature_state state;
};

struct fake_platform {
    std::deque<fake_answer> answers; // to the next requests; without one a request fails with 99
    std::deque<fake_state> states;   // to the next questions for a state; without one there is none
    std::list<vyn_feature_entry> features; // the registry, in scan order; see add_feature
    int library_result = 0;                // of every change of the client library
    bool is_admin = false;
    std::string user = "alice";
    u32 session = 7;
    bool history = true, debug = false;
    bool register_fails = false, debugging = false, registry_fails = false;
    int container_result = INDXOBJ_SUCCESS;
    size_t rows_visited = 0;
    lines log;

    // The log since the last call.
    lines take_log() { return std::exchange(log, {}); }

    vyn_feature_entry *add_feature(const std::string &name, u32 flags = 0);
};

extern fake_platform *fake; // of the test that runs

class platform_test : public testing::Test {
  protected:
    platform_test() { fake = &platform; }
    ~platform_test() override { fake = nullptr; }

    fake_platform platform;
};

// A reply of `size` bytes: zero but for these words, by offset.
octets reply_of(size_t size, std::initializer_list<std::pair<size_t, uint32_t>> words);

// vynMIB and these sub-identifiers.
sub_ids vyn_oid(std::initializer_list<oid> below);

struct read_result {
    std::optional<octets> value;
    sub_ids name;
    WriteMethod *write_method = nullptr;
};

// Calls the read function of the object with this column identifier as the agent does.
read_result read_object(uint8_t column, const sub_ids &requested, bool exact);

// The index of a name: its length and characters.
sub_ids name_index(const std::string &name);

// The column of vynMIB.1.1.<table>.1 and an index.
sub_ids row_of(oid table, oid column, const sub_ids &index);

// Values as a read function returns them: a 32-bit integer of the host, and the bytes of a text.
octets integer(int32_t value);
octets text(const std::string &value);

constexpr int reserve1 = 0, reserve2 = 1, action = 2, commit = 3, free_phase = 4, undo = 5;

// Calls a write function with a value as the agent hands over an integer of that length in bytes.
int write_integer(WriteMethod *write, int action, long value, size_t length = sizeof(long),
                  u_char type = ASN_INTEGER, const sub_ids &name = {});
