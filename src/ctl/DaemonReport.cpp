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

// What the daemon noted about itself, or one before it.
JSONValue ownNotes(const Locations& locations) {
    const auto text = file::readStart(locations.statusFile.string(), maximumStatusFile);
    return text ? JSONValue::parse(*text).value_or(JSONValue()) : JSONValue();
}

void addNotes(DaemonReport& report, const Locations& locations) {
    const JSONValue notes = ownNotes(locations);
    if (processIn(notes) != report.process)
        return;
    if (const std::string* source = json::textOf(notes, "idleSource"))
        report.idleSource = *source;
    report.troubles = json::member(notes, "troubles");
}

// Where the daemon of these settings was listening, and answers still.
std::optional<std::string> otherAddress(const Context& context) {
    const JSONValue notes = ownNotes(context.locations);
    JSONObject settings = context.config().raw;
    settings.set("host", "127.0.0.1");
    settings.set("port", json::member(notes, "port"));
    const DaemonClient daemon(Config::over(settings), context.owner());
    try {
        const auto process = processIn(notes);
        if (process && processIn(daemon.health().body) == process)
            return daemon.address();
    } catch (const DaemonError&) { // NOLINT(bugprone-empty-catch): it is not there either
    }
    return std::nullopt;
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
        addNotes(report, context.locations);
    } catch (const Unreachable& error) {
        report.obstacle = error.reason();
        report.trouble = error.message();
        using Reason = Unreachable::Reason;
        const bool isNotThere = error.reason() == Reason::notRunning ||
                                error.reason() == Reason::anotherProgram ||
                                error.reason() == Reason::anotherUser;
        const auto other = isNotThere ? otherAddress(context) : std::nullopt;
        if (other != report.address)
            report.elsewhere = other;
    } catch (const DaemonError& error) {
        report.obstacle = Unreachable::Reason::anotherProgram;
        report.trouble = error.message();
    }
    return report;
}

} // namespace ctl
