// SETs of every writable object, with any OID and value: of up to three variables in the agent's own
// order of phases, which leaves nothing behind, or of one in any order.

#include "fuzz_input.h"

static constexpr struct {
    vyn_column column;
    WriteMethod *write;
} writers[] = {
    {VYNFEATUREOPACTION, set_vynFeatureOpAction},
    {VYNFEATUREOPSCOPETYPE, set_vynFeatureOpScopeType},
    {VYNFEATUREOPSCOPEVAL, set_vynFeatureOpScopeVal},
    {VYNFEATUREOPSHOWCFGOPTION, set_vynFeatureOpShowCfgOption},
    {VYNMERGEFAILRESOLVACTION, set_vynMergeFailResolvAction},
    {VYNFEATUREOPEXTSHOWCFGOPTION, set_vynFeatureOpExtShowCfgOption},
    {VYNREGIONSTORAGE, set_vynRegionStorage},
    {VYNREGIONSTATUS, set_vynRegionStatus},
    {VYNFEATUREREGIONID, set_vynFeatureRegionId},
    {VYNFEATUREREGIONSTORAGE, set_vynFeatureRegionStorage},
    {VYNFEATUREREGIONSTATUS, set_vynFeatureRegionStatus},
    {VYNSTATPEERADDRSTORAGETYPE, set_vynStatPeerAddrStorageType},
    {VYNSTATPEERADDRROWSTATUS, set_vynStatPeerAddrRowStatus},
    {VYNSTARTPEERSDISCOVERY, set_vynStartPeersDiscovery},
    {VYNDISTENABLE, set_vynDistCtrl},
    {VYNDISTCTRLADDR, set_vynDistCtrlAddr},
    {VYNDISTCTRLACTION, set_vynDistCtrlAction},
};

namespace {

struct variable_of_set {
    explicit variable_of_set(fuzz_input &input)
        : writer(input.one_of(writers)), name(input.name_of(object_of(writer.column))),
          value(input.value_for(object_of(writer.column))), stored(input.flag()) {}

    int run(int phase) { return fuzz_input::call(writer.write, phase, name, value, stored ? &old_value : nullptr); }

    std::remove_reference_t<decltype(*writers)> writer;
    sub_ids name;
    set_value value;
    bool stored;
    u_char old_value = 0;
};

bool run_all(std::vector<variable_of_set> &variables, int phase) {
    return std::all_of(variables.begin(), variables.end(),
                       [=](variable_of_set &each) { return each.run(phase) == SNMP_ERR_NOERROR; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz_input input(data, size);
    input.answer();
    std::vector<variable_of_set> variables;
    if (input.flag()) {
        variables.emplace_back(input);
        for (const uint8_t phase : input.bytes(8)) variables[0].run(phase);
        return 0;
    }
    for (size_t left = 1 + input.number(2); left > 0; left--) variables.emplace_back(input);
    int failed_in = -1;
    for (int phase = reserve1; phase <= commit && failed_in < 0; phase++)
        if (!run_all(variables, phase)) failed_in = phase;
    if (failed_in >= 0 && failed_in < commit)
        for (variable_of_set &each : variables) each.run(failed_in == action ? undo : free_phase);
    require(vyn_regions == nullptr || rows_in(vyn_regions) == 0, "a region under creation has been left");
    return 0;
}
