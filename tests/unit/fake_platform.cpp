// The fake platform and agent. The agent's functions replace those of the agent's library, which is
// linked for everything else.

#include <gtest/gtest.h>

#include "fake_platform.h"

#include <cstdarg>
#include <cstdio>

#include "sdwrap.h"
#include "snmp_context.h"
#include "syserr.h"

fake_platform *fake;

static std::string format(const char *text, ...)
{
    char buffer[4096];
    va_list args;
    va_start(args, text);
    vsnprintf(buffer, sizeof(buffer), text, args);
    va_end(args);
    return buffer;
}

static std::string dotted(const oid *name, size_t length)
{
    std::string text;
    for (size_t i = 0; i < length; i++)
        text += (i == 0 ? "" : ".") + std::to_string(name[i]);
    return text;
}

octets reply_of(size_t size, std::initializer_list<std::pair<size_t, uint32_t>> words)
{
    octets reply(size);
    for (auto [offset, value] : words)
        for (size_t i = 0; i < 4 && offset + i < size; i++)
            reply[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    return reply;
}

vyn_feature_entry *fake_platform::add_feature(const std::string &name, u32 flags)
{
    vyn_feature_entry entry{};
    entry.name[0] = static_cast<uint8_t>(name.size());
    std::copy(name.begin(), name.end(), entry.name + 1);
    entry.flags = flags;
    features.push_back(entry);
    if (features.size() > 1)
        std::prev(features.end(), 2)->next = &features.back();
    return &features.back();
}

sub_ids vyn_oid(std::initializer_list<oid> below)
{
    sub_ids name(vyn_mib_variables_oid, vyn_mib_variables_oid + VYN_MIB_ROOT_LENGTH);
    name.insert(name.end(), below);
    return name;
}

read_result read_object(uint8_t column, const sub_ids &requested, bool exact)
{
    for (const struct variable7 &object : vyn_mib_variables) {
        if (object.magic != column)
            continue;
        struct variable vp = {};
        vp.magic = object.magic;
        vp.type = static_cast<char>(object.type);
        vp.acl = object.acl;
        vp.namelen = static_cast<u_char>(VYN_MIB_ROOT_LENGTH + object.namelen);
        memcpy(vp.name, vyn_mib_variables_oid, sizeof(vyn_mib_variables_oid));
        memcpy(vp.name + VYN_MIB_ROOT_LENGTH, object.name, sizeof(object.name));

        read_result result;
        sub_ids name = requested;
        name.resize(MAX_OID_LEN);
        size_t length = requested.size(), value_length = 0xdeadbeef;
        const u_char *value =
            object.findVar(&vp, name.data(), &length, exact, &value_length, &result.write_method);
        if (value != nullptr)
            result.value = octets(value, value + value_length);
        result.name = sub_ids(name.begin(), name.begin() + static_cast<ptrdiff_t>(length));
        return result;
    }
    ADD_FAILURE() << "no object has the identifier " << int{column};
    return {};
}

sub_ids name_index(const std::string &name)
{
    sub_ids index = {name.size()};
    for (unsigned char character : name)
        index.push_back(character);
    return index;
}

sub_ids row_of(oid table, oid column, const sub_ids &index)
{
    sub_ids name = vyn_oid({1, 1, table, 1, column});
    name.insert(name.end(), index.begin(), index.end());
    return name;
}

octets integer(int32_t value)
{
    octets bytes(sizeof(value));
    memcpy(bytes.data(), &value, sizeof(value));
    return bytes;
}

octets text(const std::string &value)
{
    return octets(value.begin(), value.end());
}

int write_integer(WriteMethod *write, int phase, long value, size_t length, u_char type,
                  const sub_ids &name)
{
    octets bytes(std::max(length, sizeof(int32_t)));
    const int32_t word = static_cast<int32_t>(value);
    memcpy(bytes.data(), &word, sizeof(word));
    if (length == sizeof(value))
        memcpy(bytes.data(), &value, sizeof(value));
    sub_ids copy = name;
    return write(phase, bytes.data(), type, length, nullptr, copy.data(), copy.size());
}

extern "C" {

// --- Transport ---

static mts_queue *const the_queue = reinterpret_cast<mts_queue *>(&fake);
mts_queue *mts_response_q = the_queue;

u32 cmi_req_resp(u32 opcode, u32 msg_type, void *request, void **response_out, u32 *length_inout,
                 const char *user, u32 session, u32 eighth, mts_queue *queue, u32 tenth)
{
    EXPECT_EQ(eighth, 126u);
    EXPECT_EQ(queue, the_queue);
    EXPECT_EQ(tenth, 4u);
    EXPECT_EQ(*length_inout, 364u);
    std::string line = format("request %u/%u user=%s session=%u", opcode, msg_type, user, session);
    const uint8_t *bytes = static_cast<uint8_t *>(request);
    for (u32 i = 0; i + 4 <= *length_inout; i += 4)
        if (bytes[i] || bytes[i + 1] || bytes[i + 2] || bytes[i + 3])
            line += format(" %u=%02x%02x%02x%02x", i, bytes[i], bytes[i + 1], bytes[i + 2],
                           bytes[i + 3]);
    fake->log.push_back(line);

    fake_answer answer{.error = 99, .reply = {}};
    if (!fake->answers.empty()) {
        answer = fake->answers.front();
        fake->answers.pop_front();
    }
    // Without a reply the length stays what it was: only the pointer tells.
    if (answer.reply && response_out != nullptr) {
        *response_out = malloc(answer.reply->size());
        std::copy(answer.reply->begin(), answer.reply->end(),
                  static_cast<uint8_t *>(*response_out));
        *length_inout = static_cast<u32>(answer.reply->size());
    }
    return answer.error;
}

void *mts_payload_get(mts_msg *message)
{
    return message;
}

int register_for_notification(u32 opcode, mts_notification_handler handler)
{
    EXPECT_EQ(handler, opcode == 8470 ? handle_VYNFeatureActionNotif : handle_VYNNotifications);
    fake->log.push_back(format("register_for_notification %u", opcode));
    return 0;
}

int unregister_for_notification(u32 opcode)
{
    fake->log.push_back(format("unregister_for_notification %u", opcode));
    return static_cast<int>(opcode);
}

// --- Client library ---

int query_and_build_vyn_registrations(void)
{
    fake->log.push_back("query_and_build_vyn_registrations");
    return fake->registry_fails;
}

static std::list<vyn_feature_entry>::iterator scan;

void vyn_scanFeatureInit(void)
{
    scan = fake->features.begin();
}

vyn_feature_entry *vyn_scanFeatureNext(void)
{
    return scan == fake->features.end() ? nullptr : &*scan++;
}

static const char *plain_name(const vyn_feature_entry &entry)
{
    return reinterpret_cast<const char *>(entry.name) + 1;
}

vyn_feature_entry *vyn_getFeatureEntry(const char *name)
{
    for (vyn_feature_entry &entry : fake->features)
        if (strcmp(plain_name(entry), name) == 0)
            return &entry;
    return nullptr;
}

int get_vyn_entry_from_module(vyn_feature_entry *entry, void *state, int op)
{
    vyn_feature_state key;
    memcpy(&key, state, sizeof(key));
    fake->log.push_back(format("state %s op=%d scope=%u vsan=%u", plain_name(*entry), op,
                               uint32_t{key.scope}, uint32_t{key.vsan}));
    if (fake->states.empty())
        return 1;
    const fake_state answer = fake->states.front();
    fake->states.pop_front();
    if (answer.result == 0)
        memcpy(state, &answer.state, sizeof(answer.state));
    return answer.result;
}

int set_vyn_entry_to_module(vyn_feature_entry *entry)
{
    fake->log.push_back(format("run %s %u", plain_name(*entry), entry->action));
    return fake->library_result;
}

int set_vyn_cfg_option_to_module(vyn_feature_entry *entry, const vyn_cfg_option *option)
{
    fake->log.push_back(format("option %s %u %u %u %u", plain_name(*entry), option->option,
                               option->scope, option->vsan, option->value));
    return fake->library_result;
}

int pss_update_vyn_feature_entry_rt(vyn_feature_entry *entry, int second)
{
    EXPECT_EQ(second, 1);
    fake->log.push_back(format("store %s scope=%u/%u option=%u", plain_name(*entry),
                               entry->scope_type, entry->scope_value, entry->show_cfg_option));
    return fake->library_result;
}

// --- Ordered container ---

struct indxobj {
    std::vector<void *> rows;
};

int indxobj_create(indxobj **cache, int a, int b, int (*compare)(const void *, const void *), int c)
{
    const bool regions = compare == vyn_mib_region_compare;
    EXPECT_TRUE(regions || compare == vyn_mib_app_region_compare);
    fake->log.push_back(
        format("indxobj_create %s %d %d %d", regions ? "region" : "app_region", a, b, c));
    *cache = fake->container_result == INDXOBJ_SUCCESS ? new indxobj : nullptr;
    return fake->container_result;
}

int indxobj_add(indxobj *cache, void *row, const void *)
{
    cache->rows.push_back(row);
    return INDXOBJ_SUCCESS;
}

void indxobj_walk(indxobj *cache, void (*visit)(void *))
{
    for (void *row : cache->rows) {
        fake->rows_visited++;
        visit(row);
    }
}

int indxobj_destroy(indxobj *cache)
{
    fake->log.push_back(format("indxobj_destroy %zu rows", cache->rows.size()));
    delete cache;
    return INDXOBJ_SUCCESS;
}

// --- Event history and debug output ---

static u32 level_asked; // by the check before a trace

int sdwrap_hist_event_subtype_check(u32 type, u32 level)
{
    EXPECT_EQ(type, 0x730000u);
    level_asked = level;
    return fake->history ? 0 : 1;
}

void sdwrap_hist_event(u32 type, u32 length, const void *record)
{
    EXPECT_EQ(type, 0x730000u);
    u32 level;
    memcpy(&level, record, sizeof(level));
    const char *text = static_cast<const char *>(record) + sizeof(level);
    EXPECT_EQ(length, strlen(text) + 5);
    EXPECT_EQ(level, level_asked);
    fake->log.push_back(format("trace %u %s", level, text));
}

int sdwrap_chk_int(u32 level, int a, int b, int c)
{
    EXPECT_EQ(level, level_asked);
    EXPECT_EQ(a, 0);
    EXPECT_EQ(b, 0);
    EXPECT_EQ(c, 1);
    return fake->debug ? 3 : 0;
}

const char *sdwrap_dbg_modname = "vyn";

void buginf(int a, const char *module, int b, const char *text, ...)
{
    EXPECT_EQ(a, 1);
    EXPECT_EQ(b, 0);
    char buffer[4096];
    va_list args;
    va_start(args, text);
    vsnprintf(buffer, sizeof(buffer), text, args);
    va_end(args);
    fake->log.push_back(format("debug %s %s", module, buffer));
}

// --- System errors ---

const char *syserr2str(u32 code)
{
    static std::string text;
    text = format("E%u", code);
    return text.c_str();
}

const char *syserr_format(u32 code)
{
    static std::string text;
    text = code == 300 ? std::string(300, 'x') : format("reason %u", code);
    return text.c_str();
}

// --- The agent ---

const char *get_snmp_username(int which)
{
    EXPECT_EQ(which, 0);
    return fake->user.c_str();
}

int vacm_is_user_network_admin(void)
{
    fake->log.push_back("vacm_is_user_network_admin");
    return fake->is_admin;
}

u32 get_snmp_sessionid(int which)
{
    EXPECT_EQ(which, 0);
    return fake->session;
}

void log_set_error(u32 code, int second)
{
    fake->log.push_back(format("set_error %u %d", code, second));
}

netsnmp_variable_list *build_varbind(netsnmp_variable_list *previous, const void *value,
                                     u_char type, size_t length, const oid *name,
                                     size_t name_length)
{
    netsnmp_variable_list *list = previous;
    return snmp_varlist_add_variable(&list, name, name_length, type, value, length);
}

int register_mib(const char *name, const struct variable *table, size_t size, size_t count,
                 const oid *root, size_t root_length)
{
    EXPECT_EQ(static_cast<const void *>(table), vyn_mib_variables);
    EXPECT_EQ(size, sizeof(struct variable7));
    fake->log.push_back(
        format("register_mib %s %zu %s", name, count, dotted(root, root_length).c_str()));
    return fake->register_fails;
}

int unregister_mib(oid *name, size_t length)
{
    fake->log.push_back("unregister_mib " + dotted(name, length));
    return 0;
}

void snmp_set_detail(const char *detail)
{
    fake->log.push_back(format("snmp_set_detail '%s'", detail));
}

int snmp_get_do_debugging(void)
{
    return fake != nullptr && fake->debugging;
}

static void agent_debug(const char *kind, const char *token, const char *text, va_list args)
{
    char buffer[4096];
    vsnprintf(buffer, sizeof(buffer), text, args);
    fake->log.push_back(format("%s %s %s", kind, token, buffer));
}

void debugmsgtoken(const char *token, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    agent_debug("debugmsgtoken", token, text, args);
    va_end(args);
}

void debugmsg(const char *token, const char *text, ...)
{
    va_list args;
    va_start(args, text);
    agent_debug("debugmsg", token, text, args);
    va_end(args);
}
}
