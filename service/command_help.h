// The commands of vynctl, for its --help. commands.h runs them.
#pragma once

namespace vynd {

inline constexpr char command_help[] =
    R"(commands:
  ping                         answers, also while the service is stalled
  show [PATH]                  shows the fabric, or a part of it, as in a scenario file
  set PATH VALUE               changes it: set discovery.status failed,
                               set features.0.scopes ["logical"], set features.- {...}
  remove PATH                  removes an element, or resets a field to its default
  merge FEATURE SCOPE MS [CODE] [TEXT...]
                               starts a merge of MS milliseconds; fails if CODE, 1 to
                               65535, or TEXT is given (TEXT alone: code 1)
  event discovery STATUS [REASON]
                               posts the end of a discovery; the fabric does not change
  event action FEATURE SCOPE ACTION RESULT
                               posts the end of an action: event action ntp 10 commit failed
  event merge-failure FEATURE SCOPE [TEXT...]
                               posts the failure of a merge
  event raw OPCODE [HEX]       posts any event
  fault list                   lists the faults that are on
  fault off                    switches all faults off
  fault NAME off               switches one fault off
  fault NAME [ARG] [on|COUNT]  switches it on, with COUNT for this number of requests:
    stall                      serve only vynctl; all else waits for the end of the stall
    delay MS                   send replies MS milliseconds late
    drop                       carry out requests, never reply
    short N                    cut replies to N bytes
    oversize N                 pad replies to N bytes
    empty                      reply success without a byte
    error CODE                 refuse requests with this system error code
    disconnect                 close the connection instead of a reply
    wrong-query N              reply with query type N instead of the request's own
SCOPE is physical, a VSAN, or for events also TYPE/VALUE. ACTION is none, enable, disable,
commit, abort, clear or a number; RESULT is none, success, failed, in-progress, partly or a
number. Events carry FEATURE and TEXT byte for byte, cut to the size of their fields.
PATH is a path in the document, with dots: features are counted from 0 in registry order,
and - appends a feature. Numbers are decimal, or hexadecimal with 0x.
)";

} // namespace vynd
