// How tests name rows and values, call the module as the agent does, and run cases of reads and SETs.

#include "fake_platform.h"

octets reply_of(size_t size, std::initializer_list<std::pair<size_t, uint32_t>> words,
                std::initializer_list<std::pair<size_t, octets>> fields) {
    octets reply(size);
    for (auto [offset, value] : words)
        for (size_t i = 0; i < 4 && offset + i < size; i++)
            reply[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
    for (const auto &[offset, field] : fields) std::copy(field.begin(), field.end(), &reply[offset]);
    return reply;
}

sub_ids operator+(sub_ids left, const sub_ids &right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

sub_ids vyn_oid(const sub_ids &end) { return sub_ids(vyn_mib_variables_oid, std::end(vyn_mib_variables_oid)) + end; }

const struct variable7 &object_of(int column) {
    const auto is_it = [&](const struct variable7 &object) { return object.magic == column; };
    return *std::find_if(vyn_mib_variables, std::end(vyn_mib_variables) - 1, is_it);
}

sub_ids row_of(int column, const sub_ids &index) {
    const struct variable7 &object = object_of(column);
    return vyn_oid(sub_ids(object.name, object.name + object.namelen)) + index;
}

sub_ids name_index(const std::string &name) {
    sub_ids index = {name.size()};
    for (unsigned char character : name) index.push_back(character);
    return index;
}

std::string dotted(const oid *name, size_t length) {
    static const std::string root = "1.3.6.1.4.1.57193.12.7.";
    std::string text;
    for (size_t i = 0; i < length; i++) text += (i == 0 ? "" : ".") + std::to_string(name[i]);
    return text.starts_with(root) ? text.substr(root.size()) : text;
}

std::string words_from(int from, int to, const std::string &word) {
    std::string words;
    for (int offset = from; offset <= to; offset += 4) words += " " + std::to_string(offset) + "=" + word;
    return words;
}

std::string exact_read(const std::string &function, int length) {
    return "trace 101 " + function + " : exact : 1 , *len = " + std::to_string(length) + " , vp_namelen = 14 \n";
}

octets integer(int32_t value) { return set_value(value, sizeof(value)).bytes; }

octets text(const std::string &value) { return octets(value.begin(), value.end()); }

read_result read_object(int column, const sub_ids &requested, bool exact, oid behind) {
    const struct variable7 &object = object_of(column);
    struct variable vp = {};
    vp.magic = static_cast<u_char>(column);
    vp.namelen = static_cast<u_char>(row_of(column).size());
    memcpy(vp.name, row_of(column).data(), vp.namelen * sizeof(oid));

    read_result result;
    sub_ids name = requested;
    name.resize(MAX_OID_LEN, behind);
    size_t length = requested.size(), value_length = 0xdeadbeef;
    const u_char *value = object.findVar(&vp, name.data(), &length, exact, &value_length, &result.write_method);
    if (value != nullptr) result.value = octets(value, value + value_length);
    result.name = sub_ids(name.begin(), name.begin() + static_cast<ptrdiff_t>(length));
    return result;
}

read_result read_row(int column, const sub_ids &index, bool exact) {
    return read_object(column, row_of(column, index), exact);
}

set_value::set_value(long number, size_t length, u_char type)
    : bytes(std::max(length, sizeof(int32_t))), length(length), type(type) {
    const int32_t word = static_cast<int32_t>(number);
    length == sizeof(number) ? memcpy(bytes.data(), &number, length) : memcpy(bytes.data(), &word, sizeof(word));
}

int platform_test::call(WriteMethod *write, int phase, sub_ids name, set_value value, u_char *stored) {
    return write(phase, value.bytes.data(), value.type, value.length, stored, name.data(), name.size());
}

void platform_test::set(WriteMethod *write, const sub_ids &name, const std::vector<set_phase> &phases) {
    for (const set_phase &test : phases) {
        SCOPED_TRACE(testing::Message() << "phases[" << &test - phases.data() << "] " << name.size());
        platform.log.clear();
        platform.answers = test.answers;
        platform.states = test.states;
        EXPECT_EQ(call(write, test.phase, name, test.value), test.error);
        EXPECT_EQ(platform.take_log(), test.log);
    }
}

read_result platform_test::answered(const fake_answer &answer, int column, const sub_ids &index, bool exact) {
    platform.log.clear();
    platform.answers = {answer};
    return read_row(column, index, exact);
}

void platform_test::reads(int column, bool exact, const std::vector<sub_ids> &indexes, const sub_ids &row,
                          const lines &log, const std::deque<fake_answer> &answers,
                          const std::deque<fake_state> &states) {
    for (const sub_ids &index : indexes) {
        SCOPED_TRACE(testing::PrintToString(index) + " of " + std::to_string(column));
        platform.log.clear();
        platform.answers = answers;
        platform.states = states;
        const read_result result = read_row(column, index, exact);
        EXPECT_EQ(result.value.has_value(), !row.empty());
        EXPECT_EQ(result.name, row_of(column, row.empty() ? index : row));
        lines got = platform.take_log();
        if (!log.empty() && log.front() == "..." && !got.empty()) got = {"...", got.back()};
        EXPECT_EQ(got, log);
    }
}

void platform_test::asks(int column, int opcode, const std::string &query, const fake_answer &answer,
                         const std::vector<row_request> &cases) {
    platform.history = false;
    for (const auto &[exact, index, words] : cases) {
        SCOPED_TRACE(testing::PrintToString(index) + " of " + std::to_string(column));
        const std::string call = "request " + std::to_string(opcode) + (exact ? "/1 0=" : "/2 0=");
        EXPECT_TRUE(answered(answer, column, index, exact).value);
        EXPECT_EQ(platform.take_log(), lines{call + query + words});
        if (exact || !index.empty()) continue;
        read_object(column, row_of(VYNMERGEMEMBERATTR1, ipv4), false); // from elsewhere it begins in front as well
        EXPECT_EQ(platform.take_log(), lines{call + query + words});
    }
    platform.history = true;
}

void platform_test::refuses(int column, const std::vector<sub_ids> &indexes) {
    platform.history = false;
    reads(column, true, indexes, {}, {}, {{.error = 0, .reply = octets(512, 1)}}, {fake_state{}});
    platform.history = true;
}

void platform_test::shows(const sub_ids &index, const std::vector<row_value> &cases) {
    for (const auto &[column, answer, value, row, write] : cases)
        for (bool exact : {true, false}) {
            SCOPED_TRACE(testing::PrintToString(row) + " of " + std::to_string(column));
            const read_result result = answered(answer, column, index, exact);
            EXPECT_EQ(result.value, value);
            EXPECT_EQ(result.name, row_of(column, row));
            EXPECT_EQ(result.write_method, write);
        }
}
