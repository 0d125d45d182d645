// The fake platform and agent. The agent's functions replace those of the agent's library, which is
// linked for everything else.

#include <gtest/gtest.h>

#include "fake_platform.h"

#include <cstdarg>
#include <cstdio>

#include "libvyn.h"
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

int write_integer(WriteMethod *write, int action, long value, size_t length, u_char type)
{
    octets bytes(std::max(length, sizeof(int32_t)));
    const int32_t word = static_cast<int32_t>(value);
    memcpy(bytes.data(), &word, sizeof(word));
    if (length == sizeof(value))
        memcpy(bytes.data(), &value, sizeof(value));
    return write(action, bytes.data(), type, length, nullptr, nullptr, 0);
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
    *length_inout = 0;
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
    *cache = fake->containers_fail ? nullptr : new indxobj;
    return fake->containers_fail ? 1 : INDXOBJ_SUCCESS;
}

int indxobj_add(indxobj *cache, void *row, const void *)
{
    cache->rows.push_back(row);
    fake->rows++;
    return INDXOBJ_SUCCESS;
}

void indxobj_walk(indxobj *cache, void (*visit)(void *))
{
    for (void *row : cache->rows)
        visit(row);
}

int indxobj_destroy(indxobj *cache)
{
    fake->log.push_back(format("indxobj_destroy %zu rows", cache->rows.size()));
    fake->rows -= cache->rows.size();
    delete cache;
    return INDXOBJ_SUCCESS;
}

// --- Event history and debug output ---

int sdwrap_hist_event_subtype_check(u32 type, u32)
{
    EXPECT_EQ(type, 0x730000u);
    return fake->history ? 0 : 1;
}

void sdwrap_hist_event(u32 type, u32 length, const void *record)
{
    EXPECT_EQ(type, 0x730000u);
    u32 level;
    memcpy(&level, record, sizeof(level));
    const char *text = static_cast<const char *>(record) + sizeof(level);
    EXPECT_EQ(length, strlen(text) + 5);
    fake->log.push_back(format("trace %u %s", level, text));
}

int sdwrap_chk_int(u32, int a, int b, int c)
{
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

const char *get_snmp_username(int)
{
    return fake->user.c_str();
}
u32 get_snmp_sessionid(int)
{
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
