// Laid out so that few bytes go far: a byte is a sub-identifier, and the highest bytes are what is
// dangerous or long.

#include "fuzz_input.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    GTEST_FLAG_SET(throw_on_failure, true);
    return 0;
}

void require(bool holds, const char *what) {
    if (holds) return;
    puts(what);
    fflush(stdout);
    abort();
}

static bool is_started() { return vyn_regions != nullptr && vyn_app_regions != nullptr; }

fuzz_input::fuzz_input(const uint8_t *data, size_t size) : data_(data, size) {
    fake_platform &fake = platform();
    fake.history = flag();
    fake.debug = flag();
    fake.debugging = flag();
    fake.is_admin = flag();
    fake.library_result = flag();
    fake.container_result = number(15) != 0 ? INDXOBJ_SUCCESS : 0;
    fake.add_result = number(15) != 0 ? INDXOBJ_SUCCESS : 0;
    if (flag()) fake.error_text = "%s%n" + std::string(300, 'x');
    if (flag()) fake.files = {"/mnt/pss/fc_nport_mux"};
    for (size_t left = number(3); left > 0; left--) {
        const octets name = bytes(82);
        vyn_feature_entry *entry = fake.add_feature(std::string(name.begin(), name.end()), uint32_t(number(255)));
        entry->scope_type = uint32_t(number(3));
        entry->scope_value = uint32_t(number(4094));
    }
    for (size_t left = number(4); left > 0; left--) {
        fake_answer each;
        if (flag()) each.error = uint32_t(number(400));
        if (flag()) each.reply = record(400);
        answers_.push_back(each);
    }
    for (size_t left = number(2); left > 0; left--) {
        octets words = record(sizeof(vyn_feature_state));
        words.resize(sizeof(vyn_feature_state));
        fake_state each{int(number(2)) - 1, {}};
        memcpy(&each.state, words.data(), sizeof(each.state));
        states_.push_back(each);
    }
    if (!is_started()) init_vyn_mib();
}

// A stop and a start take longer than all the rest, so the module goes on for as long as it has no rows.
fuzz_input::~fuzz_input() {
    if (!is_started() || rows_in(vyn_regions) + rows_in(vyn_app_regions) != 0) deinit_vyn_mib();
}

octets fuzz_input::record(size_t most) {
    octets record = bytes(most);
    for (size_t left = number(3); left > 0; left--) {
        const size_t at = 4 * number(most / 4 - 1);
        const octets word = {0, 0, 0, uint8_t(number(31))};
        record.resize(std::max(record.size(), at + word.size()));
        std::copy(word.begin(), word.end(), &record[at]);
    }
    return record;
}

void fuzz_input::answer() {
    platform().log.clear();
    platform().answers = answers_;
    platform().states = states_;
}

static sub_ids feature_index(const vyn_feature_entry &feature) {
    return name_index(reinterpret_cast<const char *>(feature.name) + 1);
}

sub_ids fuzz_input::name_of(const struct variable7 &object) {
    static constexpr oid dangerous[] = {256, 0xffff, 0x7fffffff, 0x80000000, huge - 3, huge};
    sub_ids name = row_of(object.magic);
    if (number(7) == 0) name.resize(1 + number(name.size() - 1));
    for (const uint8_t byte : bytes(MAX_OID_LEN)) {
        const size_t chosen = byte - (256 - std::size(dangerous));
        if (chosen < std::size(dangerous))
            name.push_back(dangerous[chosen]);
        else if ((byte == 248 || byte == 249) && !platform().features.empty())
            name = name + feature_index(platform().features.front()) + (byte == 248 ? sub_ids{1} : sub_ids{});
        else if (byte == 247)
            name = name + sub_ids{2, 4, 0, 0, 0, 10};
        else
            name.push_back(byte);
    }
    name.resize(std::min<size_t>(name.size(), MAX_OID_LEN));
    return name;
}

set_value fuzz_input::value_for(const struct variable7 &object) {
    if ((object.type == ASN_OCTET_STR) == (number(15) != 0)) {
        octets string = bytes(300);
        const size_t length = string.size();
        string.resize(std::max<size_t>(length, 4)); // what the agent's buffer always has
        set_value value(string);
        value.length = length;
        return value;
    }
    const long small = long(number(9)), any = data_.ConsumeIntegral<int32_t>();
    const size_t length = number(9);
    return {flag() ? any : small, length == 9 ? sizeof(long) : length,
            number(15) == 0 ? data_.ConsumeIntegral<u_char>() : object.type};
}
