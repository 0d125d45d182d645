// A manager that sends random requests: GET, GETNEXT, GETBULK and SET, with OIDs derived from those of real rows, and
// values of any type and length. Each request waits for the answer to the one before. A second session asks for
// sysUpTime all the time, which shows how long the agent serves nobody.
//
// usage: vyn_attack_manager ADDRESS ROWS MILLISECONDS SEED RETRIES
//
// ROWS is the output of snmpwalk -On. An answer may take 30 seconds, retries included. Prints the number of requests,
// answers, requests without an answer (of either session), values read and SETs done, and the longest wait for
// sysUpTime in milliseconds.

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <set>
#include <string>
#include <thread>

#include "attack.h"

namespace {

using steady = std::chrono::steady_clock;
using oid_name = std::vector<oid>;

const oid_name root = {1, 3, 6, 1, 4, 1, 57193, 12, 7}, up_time = {1, 3, 6, 1, 2, 1, 1, 3, 0};
constexpr size_t column_length = 14; // of root, table, entry and column
const std::set<oid_name> writable = {{1, 1, 1, 1, 2},  {1, 1, 1, 1, 3},  {1, 1, 1, 1, 4}, {1, 1, 1, 1, 10},
                                     {1, 1, 3, 1, 5},  {1, 1, 7, 1, 6},  {1, 1, 9, 1, 5}, {1, 1, 10, 1, 4},
                                     {1, 1, 10, 1, 6}, {1, 1, 11, 1, 5}, {1, 3, 1, 0},    {1, 4, 1, 0},
                                     {1, 4, 2, 1, 2},  {1, 4, 2, 1, 3}};

std::vector<oid_name> rows, writable_rows;

void read_rows(const char *path) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        oid_name name;
        for (const char *at = line.c_str(); *at == '.';) {
            char *end;
            name.push_back(strtoul(at + 1, &end, 10));
            at = end;
        }
        if (name.size() <= root.size() || name.size() > MAX_OID_LEN) continue;
        rows.push_back(name);
        name.resize(std::min(name.size(), column_length));
        name.erase(name.begin(), name.begin() + root.size());
        if (writable.contains(name)) writable_rows.push_back(rows.back());
    }
}

void change(oid_name &name) {
    const size_t fixed = root.size();
    const oid_name &other = one_of(rows);
    const size_t at = fixed + below(name.size() - fixed);
    switch (below(7)) {
    case 0: name.resize(at); break;
    case 1: name.insert(name.begin() + at, any_word()); break;
    case 2: name.resize(name.size() + below(one_in(4) ? MAX_OID_LEN : 4), any_word()); break;
    case 3: // the index of a row of any table
        name.resize(std::min(name.size(), column_length));
        name.insert(name.end(), other.begin() + std::min(other.size(), column_length), other.end());
        break;
    case 4:
        for (size_t left = below(4); left > 0 && name.size() > fixed; left--) name.pop_back();
        for (size_t left = below(12); left > 0; left--) name.push_back(any_word());
        break;
    default:
        if (at < name.size()) name[at] = one_in(2) ? any_word() : name[at] + one_of({-1, 1});
    }
    if (name.size() > MAX_OID_LEN) name.resize(MAX_OID_LEN);
    for (oid &each : name) each &= UINT32_MAX;
}

oid_name any_name(const std::vector<oid_name> &of) {
    oid_name name = one_of(of);
    for (size_t left = one_in(3) ? 0 : 1 + below(3); left > 0; left--) change(name);
    return name;
}

void add_value(netsnmp_pdu *pdu, const oid_name &name) {
    static constexpr u_char integers[] = {ASN_INTEGER, ASN_INTEGER, ASN_INTEGER, ASN_GAUGE, ASN_COUNTER, ASN_TIMETICKS};
    const auto add = [&](u_char type, const void *value, size_t length) {
        snmp_pdu_add_variable(pdu, name.data(), name.size(), type, value, length);
    };
    switch (below(8)) {
    case 0: {
        // No IpAddress of another length and no random Opaque: the agent drops such a PDU without an answer.
        const auto value = any_bytes(one_in(2) ? 4 : one_of({0, 1, 3, 5, 15, 16, 17, 255, 256, 1000}));
        return add(value.size() == 4 && one_in(4) ? ASN_IPADDRESS : ASN_OCTET_STR, value.data(), value.size());
    }
    case 1: {
        const oid_name value = any_name(rows);
        return add(ASN_OBJECT_ID, value.data(), value.size() * sizeof(oid));
    }
    case 2: {
        const counter64 value = {any_word(), any_word()};
        return one_in(2) ? add(ASN_COUNTER64, &value, sizeof(value)) : add(ASN_NULL, nullptr, 0);
    }
    default: { // actions and states of rows are such numbers
        const long value = static_cast<int32_t>(one_in(4) ? any_word() : below(8));
        return add(one_of(integers), &value, sizeof(value));
    }
    }
}

// A third of the SETs could be an operator's.
netsnmp_pdu *any_set() {
    netsnmp_pdu *pdu = snmp_pdu_create(SNMP_MSG_SET);
    const long value = 1 + below(6);
    if (const oid_name &name = one_of(writable_rows); one_in(3))
        return snmp_pdu_add_variable(pdu, name.data(), name.size(), ASN_INTEGER, &value, sizeof(value)), pdu;
    for (size_t left = 1 + below(one_in(4) ? 20 : 3); left > 0; left--)
        add_value(pdu, any_name(one_in(4) ? rows : writable_rows));
    return pdu;
}

netsnmp_pdu *any_read() {
    netsnmp_pdu *pdu = snmp_pdu_create(one_of({SNMP_MSG_GET, SNMP_MSG_GETNEXT, SNMP_MSG_GETBULK}));
    const size_t variables = 1 + below(one_in(4) ? 20 : 3);
    if (pdu->command == SNMP_MSG_GETBULK) {
        pdu->non_repeaters = static_cast<long>(below(one_in(8) ? INT32_MAX : variables));
        pdu->max_repetitions = static_cast<long>(below(one_in(8) ? INT32_MAX : 40));
    }
    for (size_t i = 0; i < variables; i++) {
        const oid_name name = any_name(rows);
        snmp_add_null_var(pdu, name.data(), name.size());
    }
    return pdu;
}

void *open_session(std::vector<std::string> words, const std::string &retries, const std::string &address) {
    words.insert(words.begin(), "vyn_attack_manager");
    words.insert(words.end(), {"-t", std::to_string(30.0 / (std::stoi(retries) + 1)), "-r", retries, address});
    std::vector<char *> arguments;
    for (std::string &each : words) arguments.push_back(each.data()); // which wipes out passwords
    netsnmp_session session;
    void *opened = nullptr;
    if (snmp_parse_args(arguments.size(), arguments.data(), &session, "", nullptr) >= 0)
        opened = snmp_sess_open(&session);
    if (opened == nullptr) snmp_sess_perror("vyn_attack_manager", &session), exit(2);
    return opened;
}

std::atomic<long> unanswered;
long requests, answers, values, sets, longest_ms;

void attack(void *session) {
    const bool is_set = one_in(4);
    netsnmp_pdu *reply = nullptr;
    const int status = snmp_sess_synch_response(session, is_set ? any_set() : any_read(), &reply);
    requests += status != STAT_ERROR; // the library has sent it
    unanswered += status == STAT_TIMEOUT;
    if (status != STAT_SUCCESS) return;
    answers++;
    sets += is_set && reply->errstat == SNMP_ERR_NOERROR;
    for (auto *each = reply->variables; each != nullptr && reply->errstat == 0 && !is_set; each = each->next_variable)
        values += each->type < SNMP_NOSUCHOBJECT;
    snmp_free_pdu(reply);
}

void watch(void *session, const std::atomic<bool> &running) {
    while (running) {
        netsnmp_pdu *pdu = snmp_pdu_create(SNMP_MSG_GET), *reply = nullptr;
        snmp_add_null_var(pdu, up_time.data(), up_time.size());
        const auto begin = steady::now();
        unanswered += snmp_sess_synch_response(session, pdu, &reply) == STAT_TIMEOUT;
        snmp_free_pdu(reply);
        longest_ms = std::max<long>(longest_ms, (steady::now() - begin) / std::chrono::milliseconds(1));
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 6) return fputs("usage: vyn_attack_manager ADDRESS ROWS MILLISECONDS SEED RETRIES\n", stderr), 2;
    const char *address = argv[1], *retries = argv[5];
    read_rows(argv[2]);
    if (rows.empty()) return fputs("vyn_attack_manager: no rows\n", stderr), 2;
    chance.seed(strtoul(argv[4], nullptr, 10));
    const auto end = steady::now() + std::chrono::milliseconds(atol(argv[3]));

    const std::vector<std::string> oper = {"-v2c", "-c", "oper"},
                                   alice = {"-v3", "-u",         "alice", "-l",  "authPriv", "-a",        "SHA",
                                            "-A",  "alice-auth", "-x",    "AES", "-X",       "alice-priv"};
    void *const others = open_session(oper, retries, address);
    void *const sessions[] = {open_session(oper, retries, address), open_session(alice, retries, address)};
    std::atomic<bool> running = true;
    std::thread watcher([&] { watch(others, running); });
    while (steady::now() < end) attack(sessions[one_in(8)]);
    running = false;
    watcher.join();
    printf("%ld %ld %ld %ld %ld %ld\n", requests, answers, unanswered.load(), values, sets, longest_ms);
}
