// A platform and an agent: answer what a test has laid out, and write down, in order, all that the module does to them:
//   request 8469/1 0=19 12=5                          the words that are not zero, by offset, but for the 1 at 4
//   change 8477/3 0=3b 12=5                           the same where no reply is asked for
//   trace 100 the text                                a record of the event history
//   debug vyn the text                                a line of debug output
//   state ntp op=2 scope=2 vsan=10                    a question for a feature's state
//   run ntp 4, store ntp, option ntp 7 2 10 1         changes of the client library
//   app_region rows 1                                 a cache that has got or lost a row
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
    bool is_admin = false, history = true, debug = false, debugging = false, start_fails = false;
    int container_result = INDXOBJ_SUCCESS, add_result = INDXOBJ_SUCCESS, destroy_result = INDXOBJ_SUCCESS;
    long uptime = 0;             // of the agent, whenever it is asked about
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

struct read_result {
    std::optional<octets> value;
    sub_ids name;
    WriteMethod *write_method = nullptr;
};

// A read, exact or not, by an index, and the words of its request behind the query's type.
using row_request = std::tuple<bool, sub_ids, std::string>;

// An answer, and the value of this column, the index and the write function that come of it.
struct row_value {
    int column;
    fake_answer answer;
    std::optional<octets> value;
    sub_ids row;
    WriteMethod *write = nullptr;
};

class platform_test : public testing::Test {
  protected:
    platform_test() { fake = &platform; }
    ~platform_test() override { fake = nullptr; }

    // Calls a write function: for one phase, or for these, one after the other.
    static int call(WriteMethod *write, int phase, sub_ids name, set_value value, u_char *stored = nullptr);
    void set(WriteMethod *write, const sub_ids &name, const std::vector<set_phase> &phases);
    // Reads: with one answer, or as a case says.
    read_result answered(const fake_answer &answer, int column, const sub_ids &index, bool exact);
    // By each of these indexes: the row whose index the OID then has (none: no value, and the OID is what it was), and
    // the log, or "..." and the last line of it.
    void reads(int column, bool exact, const std::vector<sub_ids> &indexes, const sub_ids &row, const lines &log,
               const std::deque<fake_answer> &answers = {}, const std::deque<fake_state> &states = {});
    void shows(const sub_ids &index, const std::vector<row_value> &cases); // to a GET and a GETNEXT of this index
    void asks(int column, int opcode, const std::string &query, const fake_answer &answer, // to which there is a value
              const std::vector<row_request> &cases);
    // GETs of these indexes have no value, leave the OID as it was and ask for nothing.
    void refuses(int column, const std::vector<sub_ids> &indexes);

    fake_platform platform;
};

// A reply of `size` bytes: zero but for these words and octets, by offset.
octets reply_of(size_t size, std::initializer_list<std::pair<size_t, uint32_t>> words,
                std::initializer_list<std::pair<size_t, octets>> fields = {});

// Calls an object's read function as the agent does: with an OID, behind which the agent's buffer has these numbers (a
// read of them sees scopes), or with the object's own and an index.
read_result read_object(int column, const sub_ids &requested, bool exact, oid behind = 2);
read_result read_row(int column, const sub_ids &index, bool exact);

sub_ids operator+(sub_ids left, const sub_ids &right);

const struct variable7 &object_of(int column);

// vynMIB and these sub-identifiers; an object and an index; the index of a name: its length and characters; and an OID
// as a text, without vynMIB where it begins with that.
sub_ids vyn_oid(const sub_ids &end);
sub_ids row_of(int column, const sub_ids &index = {});
sub_ids name_index(const std::string &name);
std::string dotted(const oid *name, size_t length);

std::string words_from(int from, int to, const std::string &word); // in a request, the same at these offsets
std::string exact_read(const std::string &function, int length);   // the trace of a GET with such an OID
const std::string error_77 = "set_error 77 1432";                  // what the agent is told when a change `failed`

// Values as a read function returns them: a 32-bit integer of the host, and the bytes of a text.
octets integer(int32_t value);
octets text(const std::string &value);

const fake_answer null_reply = {}, failed = {.error = 77, .reply = octets(8)};

// Indexes, and the scopes as the service has them.
constexpr oid huge = 4294967295;
constexpr uint32_t PHYSICAL = 2, LOGICAL = 1;
const sub_ids ntp = name_index("ntp"), ntp_physical = ntp + sub_ids{1}, ntp_vsan_10 = ntp + sub_ids{2, 4, 0, 0, 0, 10};
const sub_ids ipv4 = {1, 4, 10, 0, 0, 1};
