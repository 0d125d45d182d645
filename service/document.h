// The values of a scenario's document.
//
// Names in JSON are Unicode, names in the fabric are bytes: a character up to U+00FF is one byte,
// and others are refused. A value knows its path in the document, and every refusal names it.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "scenario.h"
#include "text.h"

namespace vynd {

inline constexpr uint32_t max_wait_ms = 24 * 60 * 60 * 1000;

// One value of the document, and its path.
class node {
  public:
    node(const json &value, std::string path) : value_(value), path_(std::move(path)) {}

    [[noreturn]] void refuse(const std::string &reason) const
    {
        throw scenario_error((path_.empty() ? "/" : path_) + ": " + reason);
    }

    // Refuses anything but an object with no other keys than these.
    void expect_keys(const std::vector<const char *> &keys) const;

    bool has(const char *key) const { return value_.contains(key); }

    // Returns a member that the object has.
    node at(const char *key) const { return node(value_.at(key), path_ + "/" + key); }

    // Calls `use` with a member if the object has it.
    template <typename Use> void with(const char *key, Use use) const
    {
        if (has(key))
            use(at(key));
    }

    // Calls `use` with each element. Refuses anything but an array.
    template <typename Use> void each(Use use) const
    {
        if (!value_.is_array())
            refuse("expected an array");
        for (size_t index = 0; index < value_.size(); index++)
            use(node(value_[index], path_ + "/" + std::to_string(index)));
    }

    bool is_text() const { return value_.is_string(); }

    // These refuse a value of another kind.
    uint32_t number(uint32_t max = UINT32_MAX) const;
    bool flag() const;
    const std::string &text() const;
    uint32_t one_of(std::span<const named_value> names) const;

    // Takes one of the names or, for a value without one, a number.
    uint32_t named_number(std::span<const named_value> names, uint32_t max) const;

    // Returns the bytes of a string, at most `max`.
    std::string byte_text(size_t max) const;

  private:
    const json &value_;
    std::string path_;
};

// The inverse of byte_text(), and of named_number().
std::string utf8_of(std::string_view name);
json named_to_json(std::span<const named_value> names, uint32_t value);

// Writes a system error code in hexadecimal.
json code_to_json(uint32_t code);

} // namespace vynd
