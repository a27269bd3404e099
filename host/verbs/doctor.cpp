// orvo-host doctor: checks what the runs need.
#include <filesystem>

#include "host/base/exit_code.h"
#include "host/base/printable.h"
#include "host/library/log_sink.h"
#include "host/root/device_root.h"
#include "host/verbs/checkup.h"
#include "host/verbs/verb.h"
#include "host/verbs/verbs.h"

namespace host {
namespace {

const char* wordFor(Health health) {
    switch (health) {
        case Health::kWell:
            return "ok  ";
        case Health::kNote:
            return "note";
        case Health::kAmiss:
            break;
    }
    return "FAIL";
}

void tell(const std::vector<CheckFinding>& findings) {
    for (const CheckFinding& finding : findings) {
        constexpr std::size_t kSubjectWidth = 14;
        std::string subject = finding.subject;
        subject.resize(std::max(subject.size(), kSubjectWidth), ' ');
        print(std::string(wordFor(finding.health)) + "  " + subject + printable(finding.text) +
              '\n');
    }
}

CheckFinding rootFinding(const std::string& rootFault) {
    if (!rootFault.empty()) return {Health::kAmiss, "device paths", rootFault};
    return {Health::kWell, "device paths",
            hasArrivedInDeviceRoot() ? "in a private root" : "the machine's own"};
}

int checkHere(const StateFolder& state, const std::string& rootFault,
              const Invocation& invocation) {
    const LogSink log("", invocation.logLevel, invocation.verbose);
    std::vector<CheckFinding> findings;
    const auto add = [&](const std::vector<CheckFinding>& more) {
        tell(more);
        findings.insert(findings.end(), more.begin(), more.end());
    };
    add({rootFinding(rootFault)});
    if (rootFault.empty()) add(checkDevicePaths());
    add(checkState(state));
    add(checkTools());
    return isWell(findings) ? kDone : kEnvironment;
}

int doctor(const Invocation& invocation) {
    refuseCommand(invocation);
    const StateFolder state(invocation.statePath());
    std::string rootFault;
    try {
        if (!isDeviceRoot(false)) {
            const bool hasDumps = std::filesystem::is_directory(state.dumps());
            return runInDeviceRoot({hasDumps ? state.dumps() : "", false}, invocation.program);
        }
    } catch (const HostError& error) {
        rootFault = error.what();
    }
    return checkHere(state, rootFault, invocation);
}

}  // namespace

void addDoctorVerb(Program& program, Invocation& invocation) {
    Verb verb(program, invocation, "doctor",
              "Check what the runs need, one line each with the remedy; 0 when all is well",
              "[OPTIONS]");
    verb.runs([&invocation] { return doctor(invocation); });
}

}  // namespace host
