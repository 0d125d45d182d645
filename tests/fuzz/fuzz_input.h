// What the bytes of a fuzzer become: a platform and its answers, objects, OIDs and values, as hostile
// as a manager, a service and the rest of the agent can make them. The platform is the one of the unit
// tests, and a check of it that fails ends the fuzzer like a crash.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "fake_platform.h"

class fuzz_input : public platform_test {
  public:
    fuzz_input(const uint8_t *data, size_t size);
    ~fuzz_input() override;

    bool flag() { return data_.ConsumeBool(); }
    size_t number(size_t most) { return data_.ConsumeIntegralInRange<size_t>(0, most); }
    octets bytes(size_t most) { return data_.ConsumeBytes<uint8_t>(number(most)); }
    octets record(size_t most); // and small numbers in some of its words
    template <typename Each, size_t N> const Each &one_of(const Each (&all)[N]) { return all[number(N - 1)]; }

    // The object's OID, or most of it, and an index: the names of features, scopes, and any number.
    sub_ids name_of(const struct variable7 &object);

    // An integer, as the agent has it on its stack, or a string; rarely the other of both.
    set_value value_for(const struct variable7 &object);

    // What the service and the client library answer from now on; the same again after a call.
    void answer();

    using platform_test::call;
    fake_platform &platform() { return platform_test::platform; }

  private:
    void TestBody() override {}

    FuzzedDataProvider data_;
    std::deque<fake_answer> answers_;
    std::deque<fake_state> states_;
};

// Ends the fuzzer unless it holds.
void require(bool holds, const char *what);
