// The document that a scenario is, value by value, and the way its values are read and written.
//
// Names in JSON are Unicode, names in the fabric are bytes: the characters up to U+00FF stand for
// one byte each, and others cannot be named. A value knows where in the document it is, so every
// refusal names its place.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <span>
#include <string>

#include "scenario.h"
#include "text.h"

namespace vynd {

inline constexpr uint32_t max_wait_ms = 24 * 60 * 60 * 1000;

// One value of the document and where it is.
class node {
  public:
    node(const json &value, std::string path) : value_(value), path_(std::move(path)) {}

    [[noreturn]] void refuse(const std::string &reason) const
    {
        throw scenario_error((path_.empty() ? "/" : path_) + ": " + reason);
    }

    // Makes sure that this is an object with no other keys than these.
    void expect_keys(std::initializer_list<const char *> keys) const
    {
        if (!value_.is_object())
            refuse("expected an object");
        for (const auto &[key, value] : value_.items()) {
            const auto matches = [&key = key](const char *known) { return key == known; };
            if (std::none_of(keys.begin(), keys.end(), matches))
                node(value, path_ + "/" + key).refuse("unknown key");
        }
    }

    // Calls `use` with the member of that name, if there is one.
    template <typename Use> void with(const char *key, Use use) const
    {
        if (const auto found = value_.find(key); found != value_.end())
            use(node(*found, path_ + "/" + key));
    }

    template <typename Use> void each(Use use) const
    {
        if (!value_.is_array())
            refuse("expected an array");
        for (size_t index = 0; index < value_.size(); ++index)
            use(node(value_[index], path_ + "/" + std::to_string(index)));
    }

    bool has(const char *key) const { return value_.contains(key); }
    bool is_text() const { return value_.is_string(); }

    // All of these refuse a value of another kind.
    uint32_t number(uint32_t most = UINT32_MAX) const;
    bool flag() const;
    const std::string &text() const;
    uint32_t one_of(std::span<const named_value> names) const;

    // A name or, for what has none, a number.
    uint32_t named_number(std::span<const named_value> names, uint32_t most = UINT32_MAX) const;

    // The bytes that a string stands for, at most so many.
    std::string byte_text(size_t most) const;

  private:
    const json &value_;
    std::string path_;
};

// The characters that stand for these bytes.
std::string utf8_of(std::string_view name);

// The inverse of named_number(), and a system error code as people read it.
json named_to_json(std::span<const named_value> names, uint32_t value);
json code_to_json(uint32_t code);

} // namespace vynd
