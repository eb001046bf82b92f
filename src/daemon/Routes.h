#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "daemon/PageTicket.h"
#include "http/HTTPConnection.h"
#include "http/HTTPRequest.h"

class Daemon;

/// The table of the local routes. Everything but the health check and the agents' hooks needs the
/// access token.
class Routes {
  public:
    /// @param page the web page; read at its first request and then kept
    Routes(Daemon& daemon, std::filesystem::path page);

    /// Ends in exactly one of: a response, a response later, an event stream.
    void route(const HTTPRequest& request, const std::shared_ptr<HTTPConnection>& connection);

    /// What the address of the page ends with, from "/" on, for one visit soon by a program of this
    /// user: it leads to the page with its access token.
    [[nodiscard]] std::string ticketTarget();

  private:
    using Connection = std::shared_ptr<HTTPConnection>;

    void routeAuthorized(const HTTPRequest& request, const Connection& connection);
    [[nodiscard]] bool isAuthorized(const HTTPRequest& request) const;
    [[nodiscard]] const std::string& page();

    void openPage(const HTTPRequest& request, const Connection& connection);
    void health(const Connection& connection);
    void hook(const HTTPRequest& request, const Connection& connection);
    void testPush(const Connection& connection);
    void pair(const Connection& connection);
    void devices(const Connection& connection);
    void removeDevice(const HTTPRequest& request, const Connection& connection);
    void answer(const HTTPRequest& request, const Connection& connection);
    void mode(const HTTPRequest& request, const Connection& connection);

    Daemon& m_daemon;
    std::filesystem::path m_pageFile;
    std::optional<std::string> m_page;
    PageTicket m_ticket;
};
