// The commands of vynctl, for its --help. The service knows what they do: see commands.h.
#pragma once

namespace vynd {

inline constexpr char command_help[] =
    "commands:\n"
    "  ping                         answers, also while the service is stalled\n"
    "  show [PATH]                  the fabric, or a part of it, as in a scenario file\n"
    "  set PATH VALUE               changes it: set discovery.status failed,\n"
    "                               set features.0.scopes [\"logical\"], set features.- {...}\n"
    "  remove PATH                  takes out an element, or sets a field to its default\n"
    "  merge FEATURE SCOPE MS [CODE] [TEXT...]\n"
    "                               a merge that takes so long, and fails if a code from 1 to\n"
    "                               65535 or a text says why; a text alone has the code 1\n"
    "  event discovery STATUS [REASON]\n"
    "                               posts the end of a discovery; the fabric stays as it is\n"
    "  event action FEATURE SCOPE ACTION RESULT\n"
    "                               posts the end of an action: event action ntp 10 commit failed\n"
    "  event merge-failure FEATURE SCOPE [TEXT...]\n"
    "                               posts the failure of a merge\n"
    "  event raw OPCODE [HEX]       posts any event\n"
    "  fault list                   the faults that are on\n"
    "  fault off                    all faults off\n"
    "  fault NAME off               one fault off\n"
    "  fault NAME [ARG] [on|COUNT]  on, or on for so many requests:\n"
    "    stall                      serve nobody but vynctl; what waits goes on afterwards\n"
    "    delay MS                   send replies so much later\n"
    "    drop                       carry out requests, never reply\n"
    "    short N                    cut replies to N bytes\n"
    "    oversize N                 fill replies up to N bytes\n"
    "    empty                      reply success without a byte\n"
    "    error CODE                 refuse requests with this system error code\n"
    "    disconnect                 close the connection instead of a reply\n"
    "    wrong-query N              repeat query type N in replies instead of their own\n"
    "SCOPE is physical, a VSAN, or TYPE/VALUE as an event is to carry them. ACTION\n"
    "is none, enable, disable, commit, abort, clear or a number; RESULT is none, success, failed,\n"
    "in-progress, partly or a number. FEATURE and TEXT are posted byte for byte as far as they "
    "fit.\n"
    "PATH is the way down the document, with dots; features are counted from 0 in registry\n"
    "order, and - is behind the last. Numbers are decimal, or hexadecimal with 0x.\n";

} // namespace vynd
