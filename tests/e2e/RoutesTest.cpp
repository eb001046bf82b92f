#include <gtest/gtest.h>

#include "support/RunningDaemon.h"

namespace {

/// The whole response, byte for byte.
std::string bytesOf(std::string_view status, std::string_view type, std::string_view body) {
    return "HTTP/1.1 " + std::string(status) + "\r\ncontent-type: " + std::string(type) +
           "\r\ncache-control: no-store\r\ncontent-length: " + std::to_string(body.size()) +
           "\r\nconnection: close\r\n\r\n" + std::string(body);
}

std::string jsonBytes(std::string_view status, std::string_view body) {
    return bytesOf(status, "application/json", body);
}

const std::string unauthorized = bytesOf("401 Unauthorized", "text/plain; charset=utf-8",
                                         "Unauthorized: open the URL from the tamsell menu");
const std::string notFound = jsonBytes("404 Not Found", R"({"error":"not found"})");

class RoutesTest : public testing::Test {
  protected:
    [[nodiscard]] std::string exchange(std::string_view request) const {
        Client client(m_daemon.port());
        client.send(request);
        return client.everything().value_or("(no end)");
    }

    RunningDaemon m_daemon{JSONObject{{"mode", "off"}}};
    const std::string m_token = m_daemon.token();
    const std::string m_header = m_daemon.tokenHeader();
};

} // namespace

TEST_F(RoutesTest, AskForTheWholeTokenBeforeAnythingElse) {
    ASSERT_EQ(m_token.size(), 32U);
    const std::string almost = m_token.substr(0, 31) + (m_token.back() == '0' ? '1' : '0');
    const auto query = [](const std::string& value) { return "/state?token=" + value; };
    const auto header = [](const std::string& value) { return "X-Token: " + value + "\r\n"; };

    const std::string refused[]{
        requestText("GET", "/state"),
        requestText("GET", query("")),
        requestText("GET", query(almost)),
        requestText("GET", query(m_token.substr(0, 31))),
        requestText("GET", query(m_token + "0")),
        requestText("GET", "/state", header(almost)),
        // The query counts when there are both, and the last of several.
        requestText("GET", query(almost), header(m_token)),
        requestText("GET", query(""), header(m_token)),
        requestText("GET", query(m_token) + "&token=" + almost),
        requestText("GET", "/"),
        requestText("GET", "/nowhere"),
        requestText("GET", "/hook"),
        requestText("POST", "/answer", {}, "{}"),
        requestText("POST", "/mode", header(almost), R"({"mode":"on"})"),
    };
    for (const std::string& request : refused)
        EXPECT_EQ(exchange(request), unauthorized) << request;

    const char first = m_token.front();
    const std::string escaped =
        (first <= '9' ? std::string("%3") + first : "%6" + std::to_string(first - 'a' + 1)) +
        m_token.substr(1);
    const std::string served[]{
        requestText("GET", query(m_token)),
        requestText("GET", "/state", header(m_token)),
        requestText("GET", query(m_token), header(almost)),
        requestText("DELETE", query(escaped)),
    };
    for (const std::string& request : served)
        EXPECT_TRUE(exchange(request).starts_with("HTTP/1.1 200 OK\r\n")) << request;
}

TEST_F(RoutesTest, AnswerByteForByte) {
    const std::string event = R"({"hook_event_name":"Stop"})";
    const struct {
        std::string request;
        std::string expected;
    } table[]{
        {requestText("POST", "/hook", {}, event), jsonBytes("200 OK", "")},
        // A page of some web site, open in the user's browser, cannot pose as an agent.
        {requestText("POST", "/hook", "Origin: http://127.0.0.1\r\n" + m_header, event),
         jsonBytes("403 Forbidden", R"({"error":"local only"})")},
        {requestText("POST", "/hook", "Sec-Fetch-Site: cross-site\r\n", event),
         jsonBytes("403 Forbidden", R"({"error":"local only"})")},
        {requestText("GET", "/hook", m_header), notFound},
        {requestText("POST", "/nowhere", m_header), notFound},
        {requestText("POST", "/devices", m_header), notFound},
        {requestText("GET", "/mode", m_header), notFound},
        {requestText("post", "/pair", m_header), notFound},
        {requestText("GET", "/State", m_header), notFound},
        {requestText("GET", "/devices", m_header), jsonBytes("200 OK", "[]")},
        {requestText("POST", "/devices/remove", m_header, R"({"id":"phone"})"),
         jsonBytes("404 Not Found", R"({"error":"no such device"})")},
        {requestText("POST", "/pair", m_header),
         jsonBytes("409 Error", R"({"error":"relay not set up"})")},
        {requestText("POST", "/answer", m_header, R"({"id":7,"action":"allow"})"),
         jsonBytes("404 Not Found", R"({"error":"已經回答過或已逾時"})")},
        {requestText("POST", "/mode", m_header, R"({"mode":"Auto"})"),
         jsonBytes("400 Bad Request", R"({"error":"mode must be off, auto or on"})")},
        {requestText("POST", "/mode", m_header, "no object"),
         jsonBytes("400 Bad Request", R"({"error":"mode must be off, auto or on"})")},
        {requestText("POST", "/mode", m_header, R"({"mode":"on"})"),
         jsonBytes("200 OK", R"({"away":true,"idleMinutes":5,"idleSeconds":0,"mode":"on"})")},
        {requestText("POST", "/mode", m_header, R"({"mode":"auto"})"),
         jsonBytes("200 OK", R"({"away":false,"idleMinutes":5,"idleSeconds":0,"mode":"auto"})")},
    };
    for (const auto& row : table)
        EXPECT_EQ(exchange(row.request), row.expected) << row.request;
    EXPECT_NE(contentOf(m_daemon.home() / "config.json").find(R"("mode": "auto")"),
              std::string::npos)
        << contentOf(m_daemon.home() / "config.json");
    const std::string page = exchange(requestText("GET", "/", m_header));
    EXPECT_TRUE(page.starts_with("HTTP/1.1 200 OK\r\ncontent-type: text/html; charset=utf-8\r\n"));
}
