// A table that an agent serves out of its own memory: what the walks of vynPeersTable are compared
// to.
//
// A stock agent loads it with dlmod. Its rows are those of the fabric that bench/fabric writes:
// the IPv4 addresses from 10.0.0.0 on. Its OIDs are as long as those of vynPeersTable and differ
// from them in one sub-identifier, so that the table can also stand in a subagent of the same
// agent. The environment says how many rows there are (VYN_NATIVE_ROWS), and which number is in the
// place of the last one of vynMIB (VYN_NATIVE_ROOT). With VYN_NATIVE_ECHO each read also makes a
// bare round trip to another process: about what a table must cost that asks a service.
//
// Odd on purpose: the address is in each row twice, as index and as value, because vynPeersTable
// has it twice. There is no way to unload the table; its agents end with the benchmark.

#include <cstdlib>

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

#include <net-snmp/agent/net-snmp-agent-includes.h>

#include "echo.h"

static constexpr unsigned int address_column = 2;

struct address {
    explicit address(size_t number)
        : octets{10, static_cast<u_char>(number >> 16), static_cast<u_char>(number >> 8), static_cast<u_char>(number)} {
    }

    u_char octets[4];
};

static size_t setting(const char *variable) {
    const char *value = getenv(variable);
    return value != nullptr ? strtoul(value, nullptr, 10) : 0;
}

static void add_row(netsnmp_tdata *table, size_t number) {
    const int32_t ipv4 = 1;
    auto *row_address = new address(number);
    netsnmp_tdata_row *row = netsnmp_tdata_create_row();
    row->data = row_address;
    netsnmp_tdata_row_add_index(row, ASN_INTEGER, &ipv4, sizeof(ipv4));
    netsnmp_tdata_row_add_index(row, ASN_OCTET_STR, row_address->octets, sizeof(row_address->octets));
    netsnmp_tdata_add_row(table, row);
}

static echo *other; // null: nobody is asked

// The table's helper has made every GETNEXT a GET of the row behind.
static int serve(netsnmp_mib_handler *, netsnmp_handler_registration *, netsnmp_agent_request_info *info,
                 netsnmp_request_info *requests) {
    if (info->mode != MODE_GET) return SNMP_ERR_NOERROR;
    for (netsnmp_request_info *each = requests; each != nullptr; each = each->next) {
        if (other != nullptr && !other->ask()) return SNMP_ERR_GENERR;
        const auto *found = static_cast<address *>(netsnmp_tdata_extract_entry(each));
        if (found != nullptr)
            snmp_set_var_typed_value(each->requestvb, ASN_OCTET_STR, found->octets, sizeof(found->octets));
        else
            netsnmp_set_request_error(info, each, SNMP_NOSUCHINSTANCE);
    }
    return SNMP_ERR_NOERROR;
}

extern "C" void init_vyn_native_table(void) {
    if (getenv("VYN_NATIVE_ECHO") != nullptr) other = new echo;
    const oid root[] = {1, 3, 6, 1, 4, 1, 57193, 12, setting("VYN_NATIVE_ROOT"), 1, 1, 5};
    netsnmp_tdata *table = netsnmp_tdata_create_table("vyn_native_table", 0);
    netsnmp_tdata_add_index(table, ASN_INTEGER);
    netsnmp_tdata_add_index(table, ASN_OCTET_STR);
    for (size_t number = 0; number < setting("VYN_NATIVE_ROWS"); number++) add_row(table, number);

    auto *shape = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
    netsnmp_table_helper_add_indexes(shape, ASN_INTEGER, ASN_OCTET_STR, 0);
    shape->min_column = shape->max_column = address_column;
    netsnmp_tdata_register(
        netsnmp_create_handler_registration("vyn_native_table", serve, root, OID_LENGTH(root), HANDLER_CAN_RONLY),
        table, shape);
}
