#include "ctl/DaemonReport.h"

#include <limits>

#include "core/File.h"
#include "core/JSONMember.h"
#include "platform/RunningProgram.h"

namespace ctl {

namespace {

constexpr std::size_t maximumStatusFile = std::size_t{1} << 20;

std::optional<pid_t> processIn(const JSONValue& value) {
    const double number = json::numberOf(value, "pid");
    if (!(number >= 1 && number <= std::numeric_limits<pid_t>::max()))
        return std::nullopt;
    return static_cast<pid_t>(number);
}

std::optional<std::string> idleSource(const Locations& locations, std::optional<pid_t> process) {
    const auto text = file::readStart(locations.statusFile.string(), maximumStatusFile);
    const auto status = text ? JSONValue::parse(*text) : std::nullopt;
    const std::string* source = status ? json::textOf(*status, "idleSource") : nullptr;
    // An earlier process may have written it.
    if (!source || processIn(*status) != process)
        return std::nullopt;
    return *source;
}

} // namespace

DaemonReport askDaemon(const Context& context) {
    DaemonReport report;
    const DaemonClient daemon(context);
    report.address = daemon.address();
    try {
        report.process = processIn(daemon.health().body);
        report.isOutdated = report.process && runsReplacedFile(*report.process);
        report.snapshot = daemon.get("/state");
        // Composing the snapshot has read it.
        report.idleSource = idleSource(context.locations, report.process);
    } catch (const Unreachable& error) {
        report.obstacle = error.reason();
        report.trouble = error.message();
    } catch (const DaemonError& error) {
        report.obstacle = Unreachable::Reason::anotherProgram;
        report.trouble = error.message();
    }
    return report;
}

} // namespace ctl
