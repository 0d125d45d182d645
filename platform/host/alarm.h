// An alarm in the agent's event loop, which is unregistered with its object.
#pragma once

#include <net-snmp/net-snmp-config.h>

#include <net-snmp/net-snmp-includes.h>

namespace vyn_host {

class agent_alarm {
  public:
    using handler = void (*)(void *owner);

    // flags: SA_REPEAT, or 0 for an alarm that rings once.
    agent_alarm(unsigned seconds, unsigned flags, handler ring, void *owner)
        : seconds_(seconds), flags_(flags), ring_(ring), owner_(owner)
    {
    }
    agent_alarm(const agent_alarm &) = delete;
    agent_alarm &operator=(const agent_alarm &) = delete;
    ~agent_alarm() { stop(); }

    // Does nothing if the alarm has been started already.
    void start()
    {
        if (number_ == 0)
            number_ = snmp_alarm_register(seconds_, flags_, on_alarm, this);
    }

    void stop()
    {
        if (number_ != 0)
            snmp_alarm_unregister(number_);
        number_ = 0;
    }

  private:
    static void on_alarm(unsigned, void *object)
    {
        auto *alarm = static_cast<agent_alarm *>(object);
        if ((alarm->flags_ & SA_REPEAT) == 0)
            alarm->number_ = 0; // the agent unregisters it
        alarm->ring_(alarm->owner_);
    }

    unsigned seconds_, flags_;
    handler ring_;
    void *owner_;
    unsigned number_ = 0; // 0: not started
};

} // namespace vyn_host
