// The service that answers at once. Each query type has one reply, made before the first request comes; a GETNEXT gets
// the row that a GET gets, whatever it comes behind.

#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <valgrind/callgrind.h>

#include "libvyn.h"
#include "micro_benchmarks.h"
#include "mts.h"
#include "sdwrap.h"
#include "vyn_wire.h"
#include "vynd_protocol.h"

extern "C" void *__libc_malloc(size_t);

using bytes = std::vector<uint8_t>;

static size_t features_in_registry;

template <typename Record> static bytes operator+(bytes front, const Record &record) {
    const auto *first = reinterpret_cast<const uint8_t *>(&record);
    front.insert(front.end(), first, first + sizeof(record));
    return front;
}

#define OWN_NAME "feature-00001"
#define OWN_ADDRESS .addr_type = VYN_ADDR_IPV4, .addr = {10, 1, 2, 3}

static std::map<uint32_t, bytes> make_replies() {
    const vyn_app_peer peer{OWN_ADDRESS};
    const vyn_app_peer of_feature{.local_app = {.name = OWN_NAME}, .scope = VYN_SCOPE_PHYSICAL, OWN_ADDRESS};
    const vyn_resp_lock_state lock{
        .lock_info = {
            {.app = {.name = OWN_NAME}, .scope = VYN_SERVICE_PHYSICAL, .taken = 1, OWN_ADDRESS, .user_name = "alice"}}};
    const vyn_resp_merge merge{.app_name = OWN_NAME, .entries = 1, .status = 1, .scope = VYN_SERVICE_PHYSICAL};
    const vyn_resp_feature_region assignment{.region_id = 7, .scope = VYN_SERVICE_PHYSICAL, .app_name = OWN_NAME};
    const vyn_feature_state state{
        .last_action = VYN_ACTION_COMMIT, .scope = VYN_SCOPE_PHYSICAL, .result = VYN_RESULT_NONE};
    std::map<uint32_t, bytes> replies = {
        {vynd::opcode_state, bytes{} + state},
    };
    const auto add = [&](be32 query_type, const auto &member) { replies[query_type] = bytes{} + query_type + member; };
    add(VYN_SNMP_APP_LOCK_STATE, lock);
    add(VYN_SNMP_MERGE_ENTRY, merge);
    add(VYN_SNMP_GET_DISC_STATUS, vyn_resp_disc_status{.disc_status = 3});
    add(VYN_SNMP_PHY_DISC_PEER, vyn_resp_peer{.peer = peer});
    add(VYN_SNMP_APP_PEER, vyn_resp_peer{.peer = of_feature});
    add(VYN_SNMP_MERGE_MEMBER, vyn_resp_merge_member{.member = of_feature, .attr1 = 1, .attr2 = 2});
    add(VYN_SNMP_GET_DIST_STATUS, vyn_resp_dist_status{});
    add(VYN_SNMP_DIST_CTRL_ENTRY, vyn_dist_ctrl_entry{VYN_ADDR_IPV4, {239, 255, 70, 83}, 1});
    add(VYN_SNMP_REGION, vyn_resp_region{.region_id = 7, .scope = VYN_SERVICE_PHYSICAL});
    add(VYN_SNMP_FEATURE_REGION, assignment);
    add(VYN_SNMP_STATIC_PEER, vyn_resp_static_peer{OWN_ADDRESS, .status = 1});
    return replies;
}

std::string feature_name(size_t place) { return "feature-" + std::to_string(100'000 + place).substr(1); }

// The features from that place on, as many as go into a frame.
static bytes registry_page(size_t place) {
    constexpr size_t page_features = 500;
    bytes page;
    for (size_t end = std::min(place + page_features, features_in_registry); place < end; place++) {
        vynd::registry_entry entry{
            .show_cfg_option = 1, .scope_type = VYN_SCOPE_PHYSICAL, .flags = VYN_FEATURE_PHYSICAL};
        entry.name[0] = static_cast<uint8_t>(
            feature_name(place).copy(reinterpret_cast<char *>(entry.name) + 1, VYN_MAX_FEATURE_NAME));
        page = std::move(page) + entry;
    }
    return page;
}

void read_registry(size_t features) {
    if (std::exchange(features_in_registry, features) != features && query_and_build_vyn_registrations() != 0) abort();
}

// The reply, and null for none. A registry is read while nothing is counted.
static const bytes *reply_to(u32 opcode, u32 msg_type, uint32_t first_word) {
    static const std::map<uint32_t, bytes> replies = make_replies();
    static bytes page;
    if (opcode == vynd::opcode_registry) return &(page = registry_page(first_word));
    if (msg_type == VYN_MSG_SET || (msg_type == VYN_MSG_GET && !settings.rows_exist)) return nullptr;
    return &replies.at(opcode == vynd::opcode_state ? opcode : first_word);
}

static u32 answer(u32 opcode, u32 msg_type, const void *request, void **response_out, u32 *length) {
    be32 first_word;
    memcpy(&first_word, request, sizeof(first_word));
    const bytes *reply = reply_to(opcode, msg_type, first_word);
    *length = reply != nullptr ? static_cast<u32>(reply->size()) : 0;
    if (response_out != nullptr) *response_out = *length != 0 ? __libc_malloc(*length) : nullptr;
    if (*length != 0) memcpy(*response_out, reply->data(), *length);
    return reply != nullptr || msg_type == VYN_MSG_SET ? 0u : u32{VYN_ERR_NO_MORE_ENTRIES};
}

extern "C" {

void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);

void *malloc(size_t size) { return usage.allocations++, __libc_malloc(size); }

void *calloc(size_t count, size_t size) { return usage.allocations++, __libc_calloc(count, size); }

void *realloc(void *block, size_t size) { return usage.allocations++, __libc_realloc(block, size); }

int open(const char *path, int flags, ...) {
    const bool is_mark = strcmp(path, "/tmp/fc_nport_mux") == 0;
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, is_mark ? "/dev/null" : path, flags, 0600));
}

u32 cmi_req_resp(u32 opcode, u32 msg_type, void *request, void **response_out, u32 *length_inout, const char *, u32,
                 u32, mts_queue *, u32) {
    if (settings.counting) CALLGRIND_TOGGLE_COLLECT;
    usage.requests++;
    const u32 error = answer(opcode, msg_type, request, response_out, length_inout);
    if (settings.counting) CALLGRIND_TOGGLE_COLLECT;
    return error;
}

void *mts_payload_get(mts_msg *message) { return message; } // an event is its payload

int sdwrap_hist_event_subtype_check(u32, u32) { return settings.tracing ? 0 : 1; }

int sdwrap_chk_int(u32, int, int, int) { return settings.tracing ? 1 : 0; }

void sdwrap_hist_event(u32, u32, const void *) {}

void buginf(int, const char *, int, const char *, ...) {}
}
