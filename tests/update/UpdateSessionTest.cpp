#include "update/UpdateSession.h"

#include <fstream>

#include <fcntl.h>
#include <sys/file.h>

#include "platform/QtScheduler.h"
#include "update/SignatureCheck.h"

#include "support/FileSizeLimit.h"
#include "support/Process.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* foundLine = "tamsell: update available: 1.2 (42)";

TEST_F(UpdateSession, ABackgroundFindWaitsForThePersonAndIsThenShownAtOnce) {
    publish("the package");
    start();
    scheduler.pass(59s);
    runDueEvents();
    EXPECT_THAT(server.requests, IsEmpty());
    scheduler.pass(1s);
    ASSERT_TRUE(eventuallyLogs(1));
    EXPECT_THAT(log, ElementsAre(foundLine));
    EXPECT_EQ(updater->available(), "1.2");
    EXPECT_FALSE(window.isOpen);
    const std::string& head = server.requests.at(0);
    EXPECT_THAT(head, HasSubstr("\r\nAccept-Encoding: identity\r\n"));
    EXPECT_THAT(head, testing::Not(HasSubstr("ookie")));

    // A later check that fails takes nothing back, one that finds nothing does.
    server.replies["/feed.xml"] = FeedServer::reply("Content-Length: 0", "", "500 Broken");
    passToNextCheck();
    ASSERT_TRUE(eventuallyLogs(2));
    EXPECT_EQ(updater->available(), "1.2");
    publish("the package");
    passToNextCheck();
    ASSERT_TRUE(eventuallyLogs(3));
    EXPECT_EQ(updater->available(), "1.2");

    updater->checkForUpdates();
    ASSERT_THAT(window.states, SizeIs(1)) << "without another check";
    EXPECT_EQ(window.states[0].phase, Phase::available);
    EXPECT_EQ(window.states[0].version, "1.2");
    EXPECT_EQ(window.states[0].currentVersion, "41");
    EXPECT_EQ(window.states[0].notes, "News");
    EXPECT_EQ(window.activations, 1);
    EXPECT_EQ(updater->available(), std::nullopt);
    passToNextCheck();
    EXPECT_THAT(window.states, SizeIs(1)) << "nothing changes under the person's hands";
    window.clicks.dismiss();
    EXPECT_FALSE(window.isOpen);

    passToNextCheck();
    ASSERT_TRUE(eventuallyLogs(4));
    EXPECT_EQ(updater->available(), "1.2") << "reminded again";
    serve({.version = "41"});
    passToNextCheck();
    ASSERT_TRUE(eventuallyLogs(5));
    EXPECT_EQ(updater->available(), std::nullopt) << "withdrawn";
}

TEST_F(UpdateSession, BringsTheReleaseIntoTheDownloadsFolder) {
    const std::string content(std::size_t{3} << 20, 'p');
    publish(content);
    std::ofstream(downloads / "tamsell_1.2.deb") << "another one";
    std::ofstream(downloads / ".tamsell-update-crash.part") << "left over";
    std::ofstream(downloads / ".tamsell-update-other.part") << "of a program that runs";
    const Descriptor other(
        ::open((downloads / ".tamsell-update-other.part").c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(::flock(other.number(), LOCK_EX), 0);
    start();
    ASSERT_TRUE(findByHand());
    EXPECT_EQ(fronted, 1);
    std::vector<std::string> during;
    window.onShow = [&](const UpdateState& state) {
        if (state.phase == Phase::downloading)
            during = namesIn(downloads);
        if (state.phase == Phase::verifying) {
            EXPECT_FALSE(std::filesystem::exists(downloads / "tamsell_1.2 (1).deb"));
        }
    };
    window.clicks.download();
    ASSERT_TRUE(eventuallyShows(Phase::done));
    const std::filesystem::path file = downloads / "tamsell_1.2 (1).deb";
    EXPECT_EQ(window.states.back().file, file);
    EXPECT_TRUE(contentOf(file) == content);
    EXPECT_EQ(std::filesystem::status(file).permissions(), std::filesystem::perms(0644));
    EXPECT_THAT(during, SizeIs(3));
    EXPECT_THAT(namesIn(downloads), ElementsAre(".tamsell-update-other.part", "tamsell_1.2 (1).deb",
                                                "tamsell_1.2.deb"));
    EXPECT_EQ(contentOf(downloads / "tamsell_1.2.deb"), "another one");
    EXPECT_EQ(shown, file) << "without another click";
    shown.clear();
    window.clicks.showFile();
    EXPECT_EQ(shown, file);
    EXPECT_THAT(log, ElementsAre(foundLine));

    serve({.version = "41"});
    updater->checkForUpdates();
    ASSERT_TRUE(eventuallyShows(Phase::upToDate));
    EXPECT_EQ(updater->available(), std::nullopt);
}

TEST_F(UpdateSession, ChecksThatComeToNothingSaySoAndLeaveNothing) {
    const auto offered = [&](auto change) {
        Offer offer = offerOf("x");
        change(offer);
        return FeedServer::whole(feedOf(offer));
    };
    const std::string good = feedOf(offerOf("x"));
    const std::string large = good + std::string(appcast::maximumSize, ' ');
    const std::string bomb = "<!DOCTYPE rss [<!ENTITY a \"aaaaaaaa\"><!ENTITY b \"&a;&a;&a;\">]>"
                             "<rss><channel><title>&b;</title></channel></rss>";
    const struct {
        const char* name;
        std::string reply;
        const char* says; ///< behind "update check failed: "; null: there is no update
    } cases[] = {
        {"same", offered([](Offer& offer) { offer.version = "41.0"; }), nullptr},
        {"older", offered([](Offer& offer) { offer.version = "9"; }), nullptr},
        {"malformed", FeedServer::whole("<rss version='2.0'><channel><item>"), ""},
        {"an entity bomb", FeedServer::whole(bomb), ""},
        {"said to be too large", FeedServer::whole(large), "更新伺服器傳來的資料太大"},
        {"too large", FeedServer::reply("X: y", large), "更新伺服器傳來的資料太大"},
        {"cut off", FeedServer::reply("Content-Length: 9999", good), ""},
        {"compressed", FeedServer::reply("Content-Encoding: gzip", "\x1f\x8b\x08"), ""},
        {"gone", FeedServer::reply("X: y", good, "404 Gone"), "更新伺服器回應了 HTTP 404"},
        {"unsigned", offered([](Offer& offer) { offer.signature = "QUJD"; }),
         "新版本沒有有效的簽章"},
        {"a file over plain HTTP", offered([](Offer& offer) { offer.url = "http://a.test/x"; }),
         "新版本的下載位址不安全"},
        {"moved to plain HTTP", FeedServer::redirect("http://192.0.2.1/"),
         "更新伺服器要轉往不安全的位址"},
        {"moved for ever", FeedServer::redirect("/feed.xml"), "更新伺服器轉址太多次"},
        {"no HTTP", "SSH-2.0-x\r\n\r\n", "無法連線到更新伺服器："},
    };
    start();
    for (const auto& [name, reply, says] : cases) {
        for (const bool isUsers : {false, true}) {
            SCOPED_TRACE(std::string(name) + (isUsers ? ", by hand" : ""));
            log.clear();
            window.states.clear();
            server.replies["/feed.xml"] = reply;
            if (isUsers)
                updater->checkForUpdates();
            else
                passToNextCheck();
            ASSERT_TRUE(eventuallyLogs(1));
            EXPECT_THAT(log, ElementsAre(StartsWith(
                                 says ? std::string("tamsell: update check failed: ") + says
                                      : "tamsell: no update")));
            EXPECT_EQ(updater->available(), std::nullopt);
            ASSERT_EQ(window.states.empty(), !isUsers);
            if (isUsers) {
                EXPECT_EQ(window.states.back().phase, says ? Phase::failed : Phase::upToDate);
                EXPECT_THAT(log[0], testing::EndsWith(lastError()));
            }
        }
    }
    EXPECT_THAT(namesIn(downloads), IsEmpty());
    EXPECT_EQ(fronted, 0);
}

TEST_F(UpdateSession, DownloadsThatFailLeaveNothing) {
    const std::string content(100'000, 'p');
    const std::size_t limit = std::size_t{16} << 20;
    const std::string tooMuch(limit + 1, 'p');
    const auto good = FeedServer::whole(content);
    const std::optional<std::size_t> unsaid;
    const struct {
        const char* name;
        std::optional<std::size_t> length; ///< by the feed
        std::string reply;                 ///< for the file
        const char* says;
    } cases[] = {
        {"other bytes", 100'000, FeedServer::whole(std::string(100'000, 'q')),
         "更新檔的簽章不正確，已經刪除"},
        {"nothing", unsaid, FeedServer::whole(""), "更新檔的簽章不正確，已經刪除"},
        {"cut off", unsaid, FeedServer::reply("Content-Length: 100001", content), ""},
        {"cut off unseen", unsaid, FeedServer::reply("X: y", content.substr(1)),
         "更新檔的簽章不正確，已經刪除"},
        {"shorter than was said", 100'001, good, "更新檔不完整"},
        {"longer than was said", 99'999, FeedServer::reply("X: y", content),
         "更新伺服器傳來的資料太大"},
        {"too large by the feed", limit + 1, good, "更新檔太大"},
        {"too large by the server", unsaid, FeedServer::reply("Content-Length: 16777217", "x"),
         "更新伺服器傳來的資料太大"},
        {"too large", unsaid, FeedServer::reply("X: y", tooMuch), "更新伺服器傳來的資料太大"},
        {"moved to plain HTTP", unsaid, FeedServer::redirect("http://192.0.2.1/x"),
         "更新伺服器要轉往不安全的位址"},
        {"no folder", unsaid, good, "無法儲存更新檔："},
    };
    const std::filesystem::path folder = downloads;
    start();
    for (const auto& [name, length, reply, says] : cases) {
        SCOPED_TRACE(name);
        Offer offer = offerOf(content);
        offer.length = length;
        serve(offer);
        server.replies[filePath] = reply;
        downloads = name == std::string_view("no folder") ? directory.put("file", "") : folder;
        ASSERT_TRUE(findByHand());
        window.clicks.download();
        ASSERT_TRUE(eventuallyShows(Phase::failed));
        EXPECT_THAT(lastError(), StartsWith(says));
        EXPECT_EQ(log.back(), "tamsell: update check failed: " + lastError());
        EXPECT_THAT(namesIn(folder), IsEmpty());
    }
    downloads = folder;
    publish(content);
    ASSERT_TRUE(findByHand());
    {
        const FileSizeLimit full(50'000);
        window.clicks.download();
        ASSERT_TRUE(eventuallyShows(Phase::failed));
    }
    EXPECT_THAT(lastError(), StartsWith("無法儲存更新檔："));
    EXPECT_THAT(namesIn(folder), IsEmpty());

    ASSERT_TRUE(findByHand());
    window.clicks.download();
    EXPECT_TRUE(eventuallyShows(Phase::done)) << "and works when nothing is wrong";
}

TEST_F(UpdateSession, ASilentServerIsNotWaitedForForEver) {
    variable = server.url("/silent");
    start();
    ASSERT_TRUE(eventually([&] { return server.requests.size() == 1; }));
    scheduler.pass(29s);
    EXPECT_THAT(log, IsEmpty());
    scheduler.pass(1s);
    EXPECT_THAT(log, ElementsAre("tamsell: update check failed: 更新伺服器在 30 秒內沒有完成回應"));

    // Not for more than a minute either, when it sends a byte at a time.
    server.keepsOpen = true;
    server.replies["/drops"] = FeedServer::reply("Content-Length: 100", "<");
    int bytes = 0;
    std::string failure;
    const Fetch slow(
        UpdateURL::parse(server.url("/drops")).value(), {.size = 100, .whole = 60s},
        {.received = [&](std::string_view text) { bytes += static_cast<int>(text.size()); },
         .finished = [] {},
         .failed = [&](const std::string& reason) { failure = reason; }},
        scheduler);
    for (int seconds = 0; seconds < 60; seconds += 20) {
        ASSERT_TRUE(eventually([&] { return bytes == 1 + seconds / 20; }));
        EXPECT_EQ(failure, "");
        server.drip();
        scheduler.pass(20s);
    }
    EXPECT_EQ(failure, "更新伺服器在 60 秒內沒有完成回應");

    variable.reset();
    publish("the package");
    server.replies[filePath] = FeedServer::reply("Content-Length: 11", "the ");
    ASSERT_TRUE(findByHand());
    window.clicks.download();
    ASSERT_TRUE(eventually([&] { return window.states.back().received == 4; }));
    scheduler.pass(30s);
    EXPECT_EQ(lastError(), "更新伺服器在 30 秒內沒有完成回應");
    EXPECT_THAT(namesIn(downloads), IsEmpty());
}

TEST_F(UpdateSession, CanBeCancelledAtEveryPoint) {
    start();
    server.replies.clear();
    updater->checkForUpdates();
    ASSERT_TRUE(eventually([&] { return server.requests.size() == 1; }));
    window.clicks.dismiss();
    EXPECT_FALSE(window.isOpen);

    const std::string content(std::size_t{8} << 20, 'p');
    publish(content);
    server.keepsOpen = true;
    server.replies[filePath] = FeedServer::reply("Content-Length: 8388608", "the beginning");
    ASSERT_TRUE(findByHand());
    window.clicks.download();
    ASSERT_TRUE(eventually([&] { return window.states.back().received == 13; }));
    ASSERT_THAT(namesIn(downloads), SizeIs(1));
    const auto partial = *std::filesystem::directory_iterator(downloads);
    EXPECT_EQ(partial.status().permissions(), std::filesystem::perms(0600));
    EXPECT_THAT(partial.path().filename().string(), StartsWith("."));
    window.clicks.dismiss();
    EXPECT_THAT(namesIn(downloads), IsEmpty());
    EXPECT_FALSE(window.isOpen);

    publish(content);
    ASSERT_TRUE(findByHand());
    window.onShow = [&](const UpdateState& state) {
        if (state.phase == Phase::verifying)
            QMetaObject::invokeMethod(
                updater.get(), [&] { window.clicks.dismiss(); }, Qt::QueuedConnection);
    };
    window.clicks.download();
    ASSERT_TRUE(eventually([&] { return !window.isOpen; }));
    EXPECT_EQ(window.states.back().phase, Phase::verifying);
    EXPECT_FALSE(updater->canCheckForUpdates()) << "the check of the signature cannot be stopped";
    ASSERT_TRUE(eventually([&] { return updater->canCheckForUpdates(); }));
    EXPECT_THAT(namesIn(downloads), IsEmpty());
    EXPECT_THAT(log, ElementsAre(foundLine, foundLine)) << "cancelling is no failure";

    window.onShow = [](const UpdateState&) {};
    ASSERT_TRUE(findByHand());
    window.clicks.download();
    ASSERT_TRUE(eventuallyShows(Phase::verifying));
    updater.reset();
    EXPECT_THAT(namesIn(downloads), IsEmpty()) << "nor is quitting";
}

TEST_F(UpdateSession, AFileThatCannotBeReadIsNoEndOfTheProgram) {
    const std::string path = directory.put("release", "the package").string();
    ed25519::PublicKey point;
    std::ranges::copy(key.publicKey(), point.begin());
    ed25519::Signature signature;
    std::ranges::copy(key.sign("the package"), signature.begin());
    using Verdict = SignatureCheck::Verdict;
    const struct {
        int access;
        std::size_t size;
        Verdict verdict;
        const char* says;
    } cases[] = {{O_RDONLY, 11, Verdict::valid, ""},
                 {O_RDONLY, 3, Verdict::invalid, ""},
                 {O_RDONLY, 8192, Verdict::impossible, "read: Input/output error"},
                 {O_WRONLY, 11, Verdict::impossible, "read: Bad file descriptor"}};
    for (const auto& [access, size, verdict, says] : cases) {
        std::optional<SignatureCheck::Result> result;
        const SignatureCheck check(Descriptor(::open(path.c_str(), access | O_CLOEXEC)), size,
                                   point, signature,
                                   [&](const SignatureCheck::Result& judged) { result = judged; });
        ASSERT_TRUE(eventually([&] { return result.has_value(); }));
        EXPECT_EQ(result->verdict, verdict) << size;
        EXPECT_EQ(result->reason, says);
    }
}

TEST_F(UpdateSession, ChecksNothingWithoutAFeed) {
    for (const std::string& feed : {std::string(), server.url("/feed.xml")}) {
        configuredFeed = feed;
        variable = feed.empty() ? std::optional<std::string>() : "";
        start();
        scheduler.pass(72h);
        EXPECT_FALSE(updater->canCheckForUpdates());
        updater->checkForUpdates();
    }
    runDueEvents();
    EXPECT_THAT(server.requests, IsEmpty());
    EXPECT_THAT(log, IsEmpty());
    EXPECT_THAT(window.states, IsEmpty());
}

TEST_F(UpdateSession, BelievesOnlyServersThatTheSystemTrusts) {
    Certificates certificates;
    const TLSIdentity identity = certificates.issue("IP:127.0.0.1");
    FeedServer secure(&identity);
    secure.replies["/feed.xml"] = FeedServer::whole(feedOf(offerOf("x")));
    secure.replies["/moved.xml"] = FeedServer::redirect(server.url("/feed.xml"));
    publish("x");
    variable = secure.url("/feed.xml");
    start();
    ASSERT_TRUE(eventuallyLogs(1));
    EXPECT_THAT(log[0], StartsWith("tamsell: update check failed: 無法連線到更新伺服器："));
    EXPECT_THAT(secure.requests, IsEmpty());

    const QSslConfiguration before = QSslConfiguration::defaultConfiguration();
    QSslConfiguration trusting = before;
    trusting.setCaCertificates(
        QSslCertificate::fromPath(QString::fromStdString(certificates.authority().string())));
    QSslConfiguration::setDefaultConfiguration(trusting);
    passToNextCheck();
    EXPECT_TRUE(eventuallyLogs(2));
    variable = secure.url("/moved.xml");
    passToNextCheck();
    EXPECT_TRUE(eventuallyLogs(3));
    QSslConfiguration::setDefaultConfiguration(before);
    EXPECT_THAT(log, ElementsAre(testing::_, foundLine,
                                 "tamsell: update check failed: 更新伺服器要轉往不安全的位址"));
    EXPECT_THAT(server.requests, IsEmpty());
}

// Nothing but the window is a stand-in here: the timers are real, and the release is made and
// signed as a maintainer does it.
TEST_F(UpdateSession, TakesWhatTheReleaseScriptMakes) {
    const auto script = [](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"env", "python3", TAMSELL_SCRIPTS "/sign-release.py"});
        Process process({.program = "/usr/bin/env", .arguments = arguments});
        EXPECT_EQ(process.exitCode(), 0);
        return process.output();
    };
    const std::string content(1'000'000, 'p');
    const std::string file = directory.put("tamsell_2.deb", content).string();
    const std::string pem = (directory / "key.pem").string();
    const std::string feed = (directory / "feed.xml").string();
    const std::string said = script({"new-key", pem});
    script({"item", file, "--key", pem, "--version", "42", "--display", "1.2", "--url",
            "files/tamsell_2.deb", "--feed", feed});
    server.replies["/feed.xml"] = FeedServer::whole(contentOf(feed));
    server.replies["/files/tamsell_2.deb"] = FeedServer::whole(content);

    QtScheduler real;
    timers = &real;
    publicKey = said.substr(0, said.find('\n'));
    variable = server.url("/feed.xml");
    start();
    ASSERT_TRUE(eventually([&] { return updater->available() == "1.2"; }));
    updater->checkForUpdates();
    ASSERT_TRUE(eventuallyShows(Phase::available));
    window.clicks.download();
    ASSERT_TRUE(eventuallyShows(Phase::done));
    EXPECT_THAT(log, ElementsAre(foundLine));
    EXPECT_THAT(namesIn(downloads), ElementsAre("tamsell_2.deb"));
    EXPECT_TRUE(contentOf(downloads / "tamsell_2.deb") == content);
    updater.reset(); // Before its timers.
}

} // namespace
