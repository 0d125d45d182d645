// Tables of the fields of a scenario's objects: one row for each field, with its keys, how it is
// read and how it is written.
//
// A field that the document lacks keeps the value of a new object, so a type's own defaults are
// those of the scenario.
#pragma once

#include <chrono>
#include <functional>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "document.h"

namespace vynd {

template <typename Object> struct field {
    std::vector<const char *> keys;
    std::function<void(const node &value, Object &object)> read; // `value` is the whole object
    std::function<void(const Object &object, json &value)> write;
};

template <typename Object> using fields = std::vector<field<Object>>;

template <typename Object>
void read_fields(const node &value, const fields<Object> &table, Object &object)
{
    std::vector<const char *> keys;
    for (const field<Object> &row : table)
        keys.insert(keys.end(), row.keys.begin(), row.keys.end());
    value.expect_keys(keys);
    for (const field<Object> &row : table)
        row.read(value, object);
}

template <typename Object> json write_fields(const Object &object, const fields<Object> &table)
{
    json value = json::object();
    for (const field<Object> &row : table)
        row.write(object, value);
    return value;
}

// A field of one key that holds a member. `read` and `write` convert its value.
template <typename Object, typename Member, typename Read, typename Write>
field<Object> single(const char *key, Member Object::*member, Read read, Write write)
{
    return {{key},
            [=](const node &value, Object &object) {
                value.with(key, [&](const node &given) {
                    object.*member = static_cast<Member>(read(given));
                });
            },
            [=](const Object &object, json &value) { value[key] = write(object.*member); }};
}

template <typename Object, typename Number>
field<Object> number(const char *key, Number Object::*member,
                     uint32_t max = std::numeric_limits<Number>::max())
{
    return single(
        key, member, [=](const node &given) { return given.number(max); },
        [](Number value) { return json(value); });
}

// A system error code.
template <typename Object> field<Object> code(const char *key, uint32_t Object::*member)
{
    return single(
        key, member, [](const node &given) { return given.number(); }, code_to_json);
}

// One of the names, or a number.
template <typename Object, typename Number>
field<Object> named(const char *key, Number Object::*member, std::span<const named_value> names)
{
    return single(
        key, member,
        [=](const node &given) {
            return given.named_number(names, std::numeric_limits<Number>::max());
        },
        [=](Number value) { return named_to_json(names, value); });
}

// Only one of the names.
template <typename Object, typename Number>
field<Object> one_of(const char *key, Number Object::*member, std::span<const named_value> names)
{
    return single(
        key, member, [=](const node &given) { return given.one_of(names); },
        [=](Number value) { return named_to_json(names, value); });
}

template <typename Object> field<Object> flag(const char *key, bool Object::*member)
{
    return single(
        key, member, [](const node &given) { return given.flag(); },
        [](bool value) { return json(value); });
}

// A duration in milliseconds, up to a day.
template <typename Object>
field<Object> duration(const char *key, std::chrono::milliseconds Object::*member)
{
    return single(
        key, member, [](const node &given) { return given.number(max_wait_ms); },
        [](std::chrono::milliseconds value) { return json(value.count()); });
}

// A string of bytes.
template <typename Object>
field<Object> byte_text(const char *key, std::string Object::*member, size_t max)
{
    return single(
        key, member, [=](const node &given) { return given.byte_text(max); }, utf8_of);
}

template <typename Object, typename Member>
field<Object> object(const char *key, Member Object::*member, const fields<Member> &table)
{
    return single(
        key, member,
        [=](const node &given) {
            Member value;
            read_fields(given, table, value);
            return value;
        },
        [=](const Member &value) { return write_fields(value, table); });
}

// The fields of a member as fields of the object itself.
template <typename Object, typename Member>
field<Object> inlined(Member Object::*member, const fields<Member> &table)
{
    field<Object> result{{},
                         [=](const node &value, Object &object) {
                             for (const field<Member> &row : table)
                                 row.read(value, object.*member);
                         },
                         [=](const Object &object, json &value) {
                             value.update(write_fields(object.*member, table));
                         }};
    for (const field<Member> &row : table)
        result.keys.insert(result.keys.end(), row.keys.begin(), row.keys.end());
    return result;
}

// Leaves the field out of the document if its value is that of a new object.
template <typename Object> field<Object> unless_default(field<Object> row)
{
    json standard = json::object();
    row.write(Object(), standard);
    row.write = [standard, write = row.write](const Object &object, json &value) {
        json written = json::object();
        write(object, written);
        if (written != standard)
            value.update(written);
    };
    return row;
}

// An array with one object for each row. `add` puts a row that was read into the object, or refuses
// it; `rows` returns the rows to write.
template <typename Object, typename Row, typename Add, typename Rows>
field<Object> list(const char *key, const fields<Row> &table, Add add, Rows rows)
{
    return {{key},
            [=](const node &value, Object &object) {
                value.with(key, [&](const node &array) {
                    array.each([&](const node &given) {
                        Row row;
                        read_fields(given, table, row);
                        add(given, std::move(row), object);
                    });
                });
            },
            [=](const Object &object, json &value) {
                json &array = value[key] = json::array();
                for (const Row &row : rows(object))
                    array.push_back(write_fields(row, table));
            }};
}

// An array with one object for each entry of a map. No two may have the same key; `what` it is.
template <typename Object, typename Key, typename Value>
field<Object> keyed_list(const char *key, std::map<Key, Value> Object::*member, const char *what,
                         const fields<std::pair<Key, Value>> &table)
{
    using row = std::pair<Key, Value>;
    return list<Object>(
        key, table,
        [=](const node &given, row entry, Object &object) {
            if (!(object.*member).insert(std::move(entry)).second)
                given.refuse(std::string("another one has this ") + what);
        },
        [=](const Object &object) {
            return std::vector<row>((object.*member).begin(), (object.*member).end());
        });
}

} // namespace vynd
