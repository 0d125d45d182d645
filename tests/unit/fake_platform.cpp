// The agent's functions here replace those of the agent's library, which is linked for everything else.

#include "fake_platform.h"

#include <cstdarg>
#include <cstdio>

#include "sdwrap.h"
#include "snmp_context.h"
#include "syserr.h"

fake_platform *fake;

// Writes down a line of a head and of what printf would make of a text and its arguments.
#define LOG_PRINTF(head, text)                                                                                         \
    char buffer[4096];                                                                                                 \
    va_list args;                                                                                                      \
    va_start(args, text);                                                                                              \
    vsnprintf(buffer, sizeof(buffer), text, args);                                                                     \
    va_end(args);                                                                                                      \
    fake->log.push_back(std::string(head) + buffer)

static void log(const char *text, ...) { LOG_PRINTF("", text); }

vyn_feature_entry *fake_platform::add_feature(const std::string &name, u32 flags) {
    vyn_feature_entry entry{};
    entry.name[0] = static_cast<uint8_t>(name.size());
    std::copy(name.begin(), name.end(), entry.name + 1);
    entry.flags = flags;
    features.push_back(entry);
    if (features.size() > 1) std::prev(features.end(), 2)->next = &features.back();
    return &features.back();
}

extern "C" {

static mts_queue *const the_queue = reinterpret_cast<mts_queue *>(&fake);
mts_queue *mts_response_q = the_queue;

u32 cmi_req_resp(u32 opcode, u32 msg_type, void *request, void **response_out, u32 *length_inout, const char *user,
                 u32 session, u32 eighth, mts_queue *queue, u32 tenth) {
    EXPECT_EQ(std::tuple(eighth, queue, tenth, *length_inout), std::tuple(126u, the_queue, 4u, 364u));
    EXPECT_EQ(std::pair(std::string(user), session), std::pair(std::string("alice"), 7u));
    log(response_out != nullptr ? "request %u/%u" : "change %u/%u", opcode, msg_type);
    const uint8_t *bytes = static_cast<uint8_t *>(request);
    for (u32 i = 0; i + 4 <= *length_inout; i += 4) {
        const u32 value = u32{bytes[i]} << 24 | bytes[i + 1] << 16 | bytes[i + 2] << 8 | bytes[i + 3];
        char word[32];
        if (value == (i == 4 ? 1 : 0)) continue;
        snprintf(word, sizeof(word), " %u=%x", i, value);
        fake->log.back() += word;
    }

    if (fake->answers.empty()) return 99;
    const fake_answer answer = fake->answers.front();
    fake->answers.pop_front();
    // Without a reply the length stays what it was: only the pointer tells.
    if (answer.reply && response_out != nullptr) {
        *response_out = malloc(answer.reply->size());
        std::copy(answer.reply->begin(), answer.reply->end(), static_cast<uint8_t *>(*response_out));
        *length_inout = static_cast<u32>(answer.reply->size());
    }
    return answer.error;
}

void *mts_payload_get(mts_msg *message) {
    EXPECT_NE(message, nullptr);
    return message == fake->empty_message ? nullptr : message;
}

int register_for_notification(u32 opcode, mts_notification_handler handler) {
    EXPECT_EQ(handler, opcode == 8470 ? handle_VYNFeatureActionNotif : handle_VYNNotifications);
    return log("register_for_notification %u", opcode), 0;
}

int unregister_for_notification(u32 opcode) { return log("unregister_for_notification %u", opcode), int(opcode); }

// --- Client library ---

int query_and_build_vyn_registrations(void) { return log("query_and_build_vyn_registrations"), fake->start_fails; }

static std::list<vyn_feature_entry>::iterator scan;

void vyn_scanFeatureInit(void) { scan = fake->features.begin(); }

vyn_feature_entry *vyn_scanFeatureNext(void) { return scan == fake->features.end() ? nullptr : &*scan++; }

static const char *plain_name(const vyn_feature_entry &entry) { return reinterpret_cast<const char *>(entry.name) + 1; }

vyn_feature_entry *vyn_getFeatureEntry(const char *name) {
    for (vyn_feature_entry &entry : fake->features)
        if (strcmp(plain_name(entry), name) == 0) return &entry;
    return nullptr;
}

int get_vyn_entry_from_module(vyn_feature_entry *entry, void *state, int op) {
    vyn_feature_state key;
    memcpy(&key, state, sizeof(key));
    log("state %s op=%d scope=%u vsan=%u", plain_name(*entry), op, uint32_t{key.scope}, uint32_t{key.vsan});
    if (fake->states.empty()) return 1;
    const fake_state answer = fake->states.front();
    fake->states.pop_front();
    return memcpy(state, &answer.state, sizeof(answer.state)), answer.result; // a failure leaves anything there
}

int set_vyn_entry_to_module(vyn_feature_entry *entry) {
    return log("run %s %u", plain_name(*entry), entry->action), fake->library_result;
}

int set_vyn_cfg_option_to_module(vyn_feature_entry *entry, const vyn_cfg_option *what) {
    log("option %s %u %u %u %u", plain_name(*entry), what->option, what->scope, what->vsan, what->value);
    return fake->library_result;
}

int pss_update_vyn_feature_entry_rt(vyn_feature_entry *entry, int second) {
    EXPECT_EQ(second, 1);
    log("store %s scope=%u/%u option=%u", plain_name(*entry), entry->scope_type, entry->scope_value,
        entry->show_cfg_option);
    return fake->library_result;
}

// --- The container, which is the host's: the linker puts these before its functions ---

int __real_indxobj_create(indxobj **, int, int, int (*)(const void *, const void *), int);
int __real_indxobj_add(indxobj *, void *, const void *);
void *__real_indxobj_remove(indxobj *, const void *);
int __real_indxobj_destroy(indxobj *);

static std::string name_of(const indxobj *cache) { return cache == vyn_app_regions ? "app_region" : "region"; }

static void log_rows(const indxobj *cache) { log("%s rows %zu", name_of(cache).c_str(), rows_in(cache)); }

int __wrap_indxobj_create(indxobj **cache, int a, int b, int (*compare)(const void *, const void *), int c) {
    EXPECT_EQ(compare, cache == &vyn_regions ? vyn_mib_region_compare : vyn_mib_app_region_compare);
    log("indxobj_create %s %d %d %d", cache == &vyn_regions ? "region" : "app_region", a, b, c);
    if (fake->container_result == INDXOBJ_SUCCESS) return __real_indxobj_create(cache, a, b, compare, c);
    return *cache = nullptr, fake->container_result;
}

int __wrap_indxobj_add(indxobj *cache, void *row, const void *key) {
    if (fake->add_result != INDXOBJ_SUCCESS) return fake->add_result;
    const int result = __real_indxobj_add(cache, row, key);
    return log_rows(cache), result;
}

void *__wrap_indxobj_remove(indxobj *cache, const void *key) {
    void *row = __real_indxobj_remove(cache, key);
    if (row != nullptr) log_rows(cache);
    return row;
}

int __wrap_indxobj_destroy(indxobj *cache) {
    log("indxobj_destroy %s", name_of(cache).c_str());
    EXPECT_EQ(__real_indxobj_destroy(cache), INDXOBJ_SUCCESS);
    return fake->destroy_result;
}

// --- Event history and debug output ---

static u32 level_asked; // by the check before a trace

int sdwrap_hist_event_subtype_check(u32 type, u32 level) {
    EXPECT_EQ(type, 0x730000u);
    level_asked = level;
    return fake->history ? 0 : 1;
}

void sdwrap_hist_event(u32 type, u32 length, const void *record) {
    u32 level;
    memcpy(&level, record, sizeof(level));
    const char *text = static_cast<const char *>(record) + sizeof(level);
    EXPECT_EQ(std::tuple(type, level, length), std::tuple(0x730000u, level_asked, strlen(text) + 5));
    log("trace %u %s", level, text);
}

int sdwrap_chk_int(u32 level, int a, int b, int c) {
    EXPECT_EQ(std::tuple(level, a, b, c), std::tuple(level_asked, 0, 0, 1));
    return fake->debug ? 3 : 0;
}

const char *sdwrap_dbg_modname = "vyn";

void buginf(int a, const char *module, int b, const char *text, ...) {
    EXPECT_EQ(std::pair(a, b), std::pair(1, 0));
    LOG_PRINTF(std::string("debug ") + module + " ", text);
}

const char *syserr2str(u32 code) {
    static std::string text;
    return (text = fake->error_text.empty() ? "E" + std::to_string(code) : fake->error_text).c_str();
}

const char *syserr_format(u32 code) {
    constexpr u32 long_texts[] = {300, 0x6c6f6e67}; // the latter as the characters of a name: long
    static std::string text;
    return (text = std::count(std::begin(long_texts), std::end(long_texts), code) != 0
                       ? std::string(300, 'x')
                       : "reason " + std::to_string(code))
        .c_str();
}

// A word that tells both arguments.
u32 vyn_mr_status2syserr(u32 code, u32 flag) { return flag << 16 | code; }

// --- The host, for which the linker puts these in front ---

int __real_close(int file);

int __wrap_open(const char *path, int flags, ...) {
    log("open %s %d", path, flags);
    return fake->files.contains(path) ? 0 : -1; // 0 is a descriptor like any other
}

int __wrap_close(int file) { return file == 0 ? log("close 0"), 0 : __real_close(file); }

// --- The agent ---

const char *get_snmp_username(int which) { return which == 0 ? "alice" : "nobody"; }

u32 get_snmp_sessionid(int which) { return which == 0 ? 7 : 8; }

int vacm_is_user_network_admin(void) { return log("vacm_is_user_network_admin"), fake->is_admin; }

void log_set_error(u32 code, int second) { log("set_error %u %d", code, second); }

netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value, u_char type, size_t length,
                                     const oid *name, size_t name_length) {
    netsnmp_variable_list *list = previous;
    return snmp_varlist_add_variable(&list, name, name_length, type, value, length);
}

int register_mib(const char *name, const struct variable *table, size_t size, size_t count, const oid *root,
                 size_t root_length) {
    EXPECT_EQ(static_cast<const void *>(table), vyn_mib_variables);
    EXPECT_EQ(size, sizeof(struct variable7));
    log("register_mib %s %zu %s", name, count, dotted(root, root_length).c_str());
    return fake->start_fails;
}

int unregister_mib(oid *name, size_t length) { return log("unregister_mib %s", dotted(name, length).c_str()), 0; }

u_long netsnmp_timeval_uptime(struct timeval *when) {
    log("uptime at %ld.%06ld", static_cast<long>(when->tv_sec), static_cast<long>(when->tv_usec));
    return static_cast<u_long>(fake->uptime);
}

void snmp_set_detail(const char *detail) { log("snmp_set_detail '%s'", detail); }

int snmp_get_do_debugging(void) { return fake != nullptr && fake->debugging; }

void debugmsgtoken(const char *token, const char *text, ...) {
    LOG_PRINTF(std::string("debugmsgtoken ") + token + " ", text);
}

void debugmsg(const char *token, const char *text, ...) { LOG_PRINTF(std::string("debugmsg ") + token + " ", text); }
}

size_t rows_in(const indxobj *cache) {
    static size_t rows;
    rows = 0;
    indxobj_walk(const_cast<indxobj *>(cache), [](void *) { rows++; });
    return rows;
}
