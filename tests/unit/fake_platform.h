// A platform and an agent for unit tests: answers what the test has laid out, and writes down
// everything that the module does to them, in order, as lines of text.
//
//   request 8469/1 user=alice session=7 0=00000019 4=00000001     the non-zero words by offset
//   trace 100 the text                                            a record of the event history
//   debug vyn the text                                            a line of debug output
//   set_error 0x40b30071 1432
//   indxobj_create, register_mib, ... with their arguments
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "vyn_mib.h"

using octets = std::vector<uint8_t>;
using sub_ids = std::vector<oid>;
using lines = std::vector<std::string>;

struct fake_answer {
    u32 error = 0;
    std::optional<octets> reply; // a block of exactly these bytes, so that a read past them is seen
};

struct fake_platform {
    std::deque<fake_answer> answers; // to the next requests; without one a request fails with 99
    std::string user = "alice";
    u32 session = 7;
    bool history = true, debug = false;
    bool register_fails = false, debugging = false, containers_fail = false, registry_fails = false;
    size_t rows = 0; // in all containers
    lines log;

    // The log since the last call.
    lines take_log() { return std::exchange(log, {}); }
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

// Calls a write function with a value as the agent hands over an integer of that length in bytes.
int write_integer(WriteMethod *write, int action, long value, size_t length = sizeof(long),
                  u_char type = ASN_INTEGER);
