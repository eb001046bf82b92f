#include "daemon/Routes.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <system_error>

#include <QCoreApplication>
#include <QTimer>
#include <unistd.h>

#include "core/Clock.h"
#include "core/File.h"
#include "core/PageURL.h"
#include "crypto/ConstantTime.h"
#include "daemon/Daemon.h"

namespace {

using namespace std::chrono_literals;

// How long the relay has to report on a test push.
constexpr auto testPushWait = 2500ms;
// The page is built into one file, and kept in memory.
constexpr std::size_t maximumPage = std::size_t{16} << 20;

void respondError(const std::shared_ptr<HTTPConnection>& connection, int status,
                  std::string_view message) {
    connection->respondJSON(status, JSONObject{{"error", message}});
}

void respondOK(const std::shared_ptr<HTTPConnection>& connection) {
    connection->respondJSON(200, JSONObject{{"ok", true}});
}

// A page from somewhere else, open in the user's browser, can post to any local port; programs send
// neither of these headers.
bool comesFromAWebPage(const HTTPRequest& request) {
    return request.header("origin") || request.header("sec-fetch-site");
}

void refuse(const std::shared_ptr<HTTPConnection>& connection) {
    connection->respond(401, "Unauthorized: open the URL from the tamsell menu",
                        "text/plain; charset=utf-8");
}

} // namespace

Routes::Routes(Daemon& daemon, std::filesystem::path page)
    : m_daemon(daemon), m_pageFile(std::move(page)) {}

void Routes::route(const HTTPRequest& request, const Connection& connection) {
    if (request.path == "/health")
        health(connection);
    else if (request.path == "/hook" && request.method == "POST")
        hook(request, connection);
    else if (request.path == "/open" && request.method == "GET")
        openPage(request, connection);
    else if (!isAuthorized(request))
        refuse(connection);
    else
        routeAuthorized(request, connection);
}

void Routes::routeAuthorized(const HTTPRequest& request, const Connection& connection) {
    const auto is = [&](std::string_view method, std::string_view path) {
        return request.path == path && request.method == method;
    };
    if (request.path == "/")
        connection->respond(200, page(), "text/html; charset=utf-8");
    else if (request.path == "/state")
        connection->respond(200, m_daemon.snapshotText(), "application/json");
    else if (request.path == "/events")
        m_daemon.openStream(connection);
    else if (is("POST", "/test-push"))
        testPush(connection);
    else if (is("POST", "/pair"))
        pair(connection);
    else if (is("GET", "/devices"))
        devices(connection);
    else if (is("POST", "/devices/remove"))
        removeDevice(request, connection);
    else if (is("POST", "/answer"))
        answer(request, connection);
    else if (is("POST", "/mode"))
        mode(request, connection);
    else
        respondError(connection, 404, "not found");
}

bool Routes::isAuthorized(const HTTPRequest& request) const {
    const auto inQuery = request.query.find("token");
    const std::string* header = request.header("x-token");
    const std::string_view presented = inQuery != request.query.end() ? inQuery->second
                                       : header                       ? *header
                                                                      : std::string_view();
    return constantTimeEqual(presented, m_daemon.config().token());
}

const std::string& Routes::page() {
    if (!m_page) {
        try {
            m_page = file::read(m_pageFile, maximumPage);
        } catch (const std::system_error&) {
            m_page = "tamsell";
        }
    }
    return *m_page;
}

std::string Routes::ticketTarget() {
    return "/open?ticket=" + m_ticket.issue(std::chrono::steady_clock::now());
}

// Another user may read the ticket before the browser uses it: they are refused, and it stays good.
void Routes::openPage(const HTTPRequest& request, const Connection& connection) {
    const auto ticket = request.query.find("ticket");
    if (ticket == request.query.end() || !connection->mayBelongTo(::geteuid()) ||
        !m_ticket.redeem(ticket->second, std::chrono::steady_clock::now())) {
        refuse(connection);
        return;
    }
    connection->respond(200,
                        "<!doctype html><meta http-equiv=\"refresh\" content=\"0; url=" +
                            pageTarget(m_daemon.config().token()) + "\">",
                        "text/html; charset=utf-8");
}

void Routes::health(const Connection& connection) {
    connection->respondJSON(
        200, JSONObject{{"ok", true},
                        {"pid", static_cast<double>(QCoreApplication::applicationPid())},
                        {"app", true},
                        {"relay", m_daemon.relay().status()}});
}

void Routes::hook(const HTTPRequest& request, const Connection& connection) {
    if (!request.isLocal || comesFromAWebPage(request))
        respondError(connection, 403, "local only");
    else
        m_daemon.handleHook(request, connection);
}

void Routes::testPush(const Connection& connection) {
    m_daemon.testPush();
    QTimer::singleShot(testPushWait, Qt::PreciseTimer, &m_daemon, [this, connection] {
        if (const auto& report = m_daemon.relay().lastPush())
            connection->respondJSON(200, *report);
        else
            respondError(connection, 200, "relay did not answer");
    });
}

void Routes::pair(const Connection& connection) {
    const auto invite = m_daemon.currentInvite();
    if (!invite)
        return respondError(connection, 409, "relay not set up");
    connection->respondJSON(
        200, JSONObject{{"link", invite->invite.link()},
                        {"expires", std::round(wallclock::milliseconds(invite->expires))}});
}

void Routes::devices(const Connection& connection) {
    JSONArray list;
    if (const auto settings = m_daemon.config().relay()) {
        for (const PairedDevice& device : settings->devices)
            list.emplace_back(
                JSONObject{{"id", device.id},
                           {"name", device.name},
                           {"addedAt", device.addedAt},
                           {"online", m_daemon.relay().online().contains(device.id)}});
    }
    connection->respondJSON(200, list);
}

void Routes::removeDevice(const HTTPRequest& request, const Connection& connection) {
    const JSONObject body = request.jsonObject();
    const std::string* id = body.string("id");
    const auto settings = m_daemon.config().relay();
    const auto isIt = [&](const PairedDevice& device) { return device.id == *id; };
    if (!id || !settings || std::ranges::none_of(settings->devices, isIt))
        return respondError(connection, 404, "no such device");
    m_daemon.removeDevice(*id);
    respondOK(connection);
}

void Routes::answer(const HTTPRequest& request, const Connection& connection) {
    JSONObject body = request.jsonObject();
    const std::string id = body.optionalString("id").value_or("");
    body.erase("id");
    try {
        m_daemon.answer(id, body);
    } catch (const DaemonError& error) {
        return respondError(connection, 404, error.what());
    }
    respondOK(connection);
}

void Routes::mode(const HTTPRequest& request, const Connection& connection) {
    const JSONObject body = request.jsonObject();
    const std::string* raw = body.string("mode");
    const auto mode = raw ? awayModeFrom(*raw) : std::nullopt;
    if (!mode)
        return respondError(connection, 400, "mode must be off, auto or on");
    m_daemon.setMode(*mode);
    connection->respondJSON(200, m_daemon.presence());
}
