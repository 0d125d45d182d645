// Events for both handlers, one after the other, because an event can show what the one before left.

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    for (size_t left = 1 + input.number(2); left > 0; left--) {
        const mts_notification_handler handler = input.flag() ? handle_VYNNotifications : handle_VYNFeatureActionNotif;
        octets payload = input.record(512);
        const bool empty = payload.empty();
        payload.resize(512); // what the platform promises
        auto *message = empty ? input.platform().empty_message : reinterpret_cast<mts_msg *>(payload.data());
        sub_ids name(MAX_OID_LEN);
        size_t length = MAX_OID_LEN;
        int flag = 0;
        netsnmp_variable_list *variables = handler(message, name.data(), &length, &flag);
        require(flag == 1 && length <= MAX_OID_LEN, "the handler has not answered");
        for (netsnmp_variable_list *each = variables; each != nullptr; each = each->next_variable)
            require(each->name_length <= MAX_OID_LEN && each->val_len <= 256, "a variable is too long");
        snmp_free_varbind(variables);
    }
    return 0;
}
