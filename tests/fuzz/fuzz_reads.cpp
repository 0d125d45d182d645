// Reads of every object, with any OID and any reply.

#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    const struct variable7 &object = input.one_of(vyn_mib_variables);
    const bool exact = input.flag();
    const sub_ids asked = input.name_of(object);
    const auto read = [&](oid behind) {
        input.answer();
        return read_object(object.magic, asked, exact, behind);
    };

    // The first read leaves the rows that empty replies serve again as the others find them.
    read(0);
    const read_result result = read(2);
    const lines log = input.platform().take_log();
    const read_result other = read(huge);
    require(result.value == other.value && result.name == other.name && result.write_method == other.write_method &&
                log == input.platform().log,
            "what is behind the OID has been read");

    require(result.name.size() <= MAX_OID_LEN, "the OID is too long");
    FindVarMethod *const reader = object.findVar;
    if (!result.value) {
        require(result.name == asked || reader == get_vynFeatureOpTable || reader == get_vynDistCtrlTable,
                "an OID without a value has changed");
        return 0;
    }
    require(object.type == ASN_OCTET_STR ? result.value->size() <= 256 : result.value->size() == sizeof(int32_t),
            "the value has a wrong length");
    const sub_ids own = row_of(object.magic);
    require(result.name == asked || std::equal(own.begin(), own.end(), result.name.begin()),
            "the OID is another object's");
    return 0;
}
