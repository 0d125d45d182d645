// A platform and an agent for unit tests: answers what the test has laid out, and writes down, in
// order, everything that the module does to them:
//   request 8469/1 user=alice session=7 0=00000019 4=00000001     the non-zero words by offset
//   trace 100 the text                                            a record of the event history
//   debug vyn the text                                            a line of debug output
//   state ntp op=2 scope=2 vsan=10                                a question for a feature's state
//   run ntp 4, store ntp, option ntp 7 2 10 1                     changes of the client library
//   indxobj_create, register_mib, open, ... with their arguments
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <list>
#include <optional>
#include <set>

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
    std::deque<fake_answer> answers;       // to the next requests; without one a request fails with 99
    std::deque<fake_state> states;         // to the next questions for a state; without one there is none
    std::list<vyn_feature_entry> features; // the registry, in scan order; see add_feature
    int library_result = 0;                // of every change of the client library
    bool is_admin = false, history = true, debug = false, register_fails = false, debugging = false,
         registry_fails = false;
    int container_result = INDXOBJ_SUCCESS, add_result = INDXOBJ_SUCCESS;
    size_t rows_visited = 0;
    std::string error_text;      // of every system error, instead of E and its number
    std::set<std::string> files; // what the module finds on the host
    // A message without a payload; all others are their own payload.
    mts_msg *const empty_message = reinterpret_cast<mts_msg *>(this);
    lines log;

    lines take_log() { return std::exchange(log, {}); } // since the last call
    vyn_feature_entry *add_feature(const std::string &name, u32 flags = 0);
};

size_t rows_in(const indxobj *cache);

extern fake_platform *fake; // of the test that runs

constexpr int reserve1 = 0, reserve2 = 1, action = 2, commit = 3, free_phase = 4, undo = 5;

// A value as the agent hands it to a write function, in a block of no more bytes than are promised.
struct set_value {
    set_value(long number, size_t length = sizeof(long), u_char type = ASN_INTEGER);
    set_value(const octets &string) : bytes(string), length(string.size()), type(ASN_OCTET_STR) {}

    octets bytes;
    size_t length;
    u_char type;
};

// One phase of a SET: what comes in, and what is to come of it.
struct set_phase {
    int phase;
    set_value value;
    int error;
    lines log = {};
    std::deque<fake_answer> answers = {};
    std::deque<fake_state> states = {};
};

class platform_test : public testing::Test {
  protected:
    platform_test() { fake = &platform; }
    ~platform_test() override { fake = nullptr; }

    // Calls a write function with these phases, one after the other.
    void set(WriteMethod *write, const sub_ids &name, const std::vector<set_phase> &phases);

    fake_platform platform;
};

// A reply of `size` bytes: zero but for these words, by offset.
octets reply_of(size_t size, std::initializer_list<std::pair<size_t, uint32_t>> words);

struct read_result {
    std::optional<octets> value;
    sub_ids name;
    WriteMethod *write_method = nullptr;
};

// Calls the read function of the object with this column identifier as the agent does.
read_result read_object(int column, const sub_ids &requested, bool exact);

sub_ids operator+(sub_ids left, const sub_ids &right);

// vynMIB and these sub-identifiers; the column of vynMIB.1.1.<table>.1 and an index; the index of a
// name: its length and characters; and an OID as a text, without vynMIB where it begins with that.
sub_ids vyn_oid(const sub_ids &below);
sub_ids row_of(oid table, oid column, const sub_ids &index);
sub_ids name_index(const std::string &name);
std::string dotted(const oid *name, size_t length);

// Values as a read function returns them: a 32-bit integer of the host, and the bytes of a text.
octets integer(int32_t value);
octets text(const std::string &value);
