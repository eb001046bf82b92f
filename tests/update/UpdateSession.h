#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "core/Base64.h"
#include "core/Clock.h"
#include "core/JSONValue.h"
#include "update/AppcastUpdateController.h"
#include "update/Updater.h"

#include "support/Eventually.h"
#include "support/FakeScheduler.h"
#include "support/TemporaryDirectory.h"
#include "update/FeedServer.h"
#include "update/SigningKey.h"

/// What the window was told, and the person's clicks in it.
struct WindowRecord {
    std::vector<UpdateState> states;
    UpdateDialog::Handlers clicks;
    bool isOpen = false;
    int activations = 0;
    std::function<void(const UpdateState&)> onShow = [](const UpdateState&) {};
};

class RecordingDialog final : public UpdateDialog {
  public:
    explicit RecordingDialog(WindowRecord& record) : m_record(record) {}

    void setHandlers(Handlers handlers) override { m_record.clicks = std::move(handlers); }
    void show(const UpdateState& state) override {
        m_record.isOpen = true;
        m_record.states.push_back(state);
        m_record.onShow(state);
    }
    void activate() override { ++m_record.activations; }
    void close() override { m_record.isOpen = false; }

  private:
    WindowRecord& m_record;
};

/// The updater of version 1.1 with its real controller, everything around it on loopback and in a
/// temporary directory.
class UpdateSession : public testing::Test {
  protected:
    using Phase = UpdateState::Phase;

    static constexpr const char* filePath = "/files/tamsell_1.2.deb";

    struct Offer {
        std::string version = "42";
        std::string url = "files/tamsell_1.2.deb";
        std::string signature{}; ///< Base64; empty: none
        std::optional<std::size_t> length{};
    };

    static std::string feedOf(const Offer& offer) {
        const auto attribute = [](const std::string& name, const std::string& value) {
            return value.empty() ? "" : " " + name + "=\"" + value + "\"";
        };
        return R"(<?xml version="1.0"?><rss version="2.0" xmlns:r="http://updates.test/"><channel>)"
               "<item><r:version>" +
               offer.version +
               "</r:version><r:shortVersionString>1.2</r:shortVersionString>"
               "<description>News</description><enclosure" +
               attribute("url", offer.url) + attribute("r:edSignature", offer.signature) +
               attribute("length", offer.length ? std::to_string(*offer.length) : "") +
               "/></item></channel></rss>";
    }

    /// What a release of the given content is offered as.
    [[nodiscard]] Offer offerOf(const std::string& content) const {
        return {.signature = base64::encode(key.sign(content)), .length = content.size()};
    }
    void serve(const Offer& offer) {
        server.replies["/feed.xml"] = FeedServer::whole(feedOf(offer));
    }
    /// A release with that content, as it should be.
    void publish(const std::string& content) {
        serve(offerOf(content));
        server.replies[filePath] = FeedServer::whole(content);
    }

    void start() {
        updater = std::make_unique<Updater>(Updater::Environment{
            .settings = {.publicKey = publicKey, .feedURL = {}},
            .variables = [this](const char*) { return variable; },
            .log = [this](const LogMessage& message) { log.emplace_back(message.text); },
            .bringToFront = [this] { ++fronted; },
            .makeController = AppcastUpdateController::factory(
                {.feedURL = configuredFeed,
                 .currentVersion = "41",
                 .stateFile = directory / "update.json",
                 .downloadsFolder = [this] { return downloads; },
                 .makeDialog = [this] { return makeDialog(); },
                 .showFile = [this](const auto& file) { shown = file; },
                 .scheduler = timers,
                 .log = [this](const LogMessage& message) { log.emplace_back(message.text); },
                 .now = [this] { return scheduler.now(); },
                 .maximumDownload = std::uint64_t{16} << 20})});
        updater->start();
    }

    /// Lets the time pass to where the next check begins.
    void passToNextCheck() {
        const auto file = JSONValue::parse(contentOf(directory / "update.json"));
        const double next = file ? file->object()->find("nextCheck")->number().value() : 0;
        const double now = wallclock::milliseconds(scheduler.now());
        const std::chrono::duration<double, std::milli> delay(std::max(60'000.0, next - now));
        scheduler.pass(std::chrono::ceil<std::chrono::milliseconds>(delay));
    }
    [[nodiscard]] bool eventuallyLogs(std::size_t lines) const {
        return eventually([&] { return log.size() >= lines; });
    }
    [[nodiscard]] bool eventuallyShows(Phase phase) const {
        return eventually(
            [&] { return !window.states.empty() && window.states.back().phase == phase; });
    }
    /// The person's check up to the found release.
    [[nodiscard]] bool findByHand() {
        updater->checkForUpdates();
        return eventuallyShows(Phase::available);
    }
    [[nodiscard]] std::string lastError() const {
        return window.states.back().phase == Phase::failed ? window.states.back().error : "";
    }

    TemporaryDirectory directory;
    std::filesystem::path downloads = directory / "downloads";
    FakeScheduler scheduler;
    FeedServer server;
    Scheduler* timers = &scheduler;
    SigningKey key;
    std::string publicKey = base64::encode(key.publicKey());
    std::string configuredFeed = server.url("/feed.xml");
    std::optional<std::string> variable; ///< TAMSELL_FEED_URL
    std::vector<std::string> log;
    int fronted = 0;
    std::filesystem::path shown;
    WindowRecord window;
    std::function<std::unique_ptr<UpdateDialog>()> makeDialog = [this] {
        return std::make_unique<RecordingDialog>(window);
    };
    std::unique_ptr<Updater> updater;

    UpdateSession() { std::filesystem::create_directory(downloads); }
};
