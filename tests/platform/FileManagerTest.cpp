#include "platform/FileManager.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <QDBusContext>

#include "support/Eventually.h"
#include "support/Process.h"
#include "support/Until.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A file manager that does what the test says.
class StandIn final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")

  public:
    enum class Manner { shows, refuses, isSilent };

    Manner manner = Manner::shows;
    std::vector<std::string> shown;

  public Q_SLOTS:
    void ShowItems(const QStringList& items, const QString& /*startupID*/) { // NOLINT: its name
        shown.push_back(items.join(u' ').toStdString());
        if (manner == Manner::refuses)
            sendErrorReply(QDBusError::Failed);
        else if (manner == Manner::isSilent)
            setDelayedReply(true);
    }
};

// A bus of this test alone.
struct FileManagerOnABus : testing::Test {
    Process daemon{{.program = "/usr/bin/dbus-daemon",
                    .arguments = {"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                  "--print-address=1"}}};
    StandIn standIn;
    std::vector<std::string> opened;
    std::string address;

    FileManagerOnABus() {
        EXPECT_TRUE(until([this] { return daemon.output().find('\n') != std::string::npos; }));
        address = daemon.output().substr(0, daemon.output().find('\n'));
    }
    ~FileManagerOnABus() override {
        QDBusConnection::disconnectFromBus(QStringLiteral("caller"));
        QDBusConnection::disconnectFromBus(QStringLiteral("service"));
    }

    QDBusConnection connect(const QString& name) const {
        return QDBusConnection::connectToBus(QString::fromStdString(address), name);
    }
    bool serve() {
        QDBusConnection bus = connect(QStringLiteral("service"));
        return bus.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &standIn,
                                  QDBusConnection::ExportAllSlots) &&
               bus.registerService(QStringLiteral("org.freedesktop.FileManager1"));
    }
    FileManager manager(std::chrono::milliseconds patience = std::chrono::seconds(10)) {
        return FileManager(
            connect(QStringLiteral("caller")),
            [this](const QUrl& folder) { opened.push_back(folder.toString().toStdString()); },
            patience);
    }
};

TEST_F(FileManagerOnABus, IsAskedToSelectTheFile) {
    ASSERT_TRUE(serve());
    FileManager files = manager();
    files.showInFolder("/home/mei/下載/a b#c%.deb");
    ASSERT_TRUE(eventually([&] { return !standIn.shown.empty(); }));
    EXPECT_THAT(standIn.shown, ElementsAre("file:///home/mei/%E4%B8%8B%E8%BC%89/a%20b%23c%25.deb"));
    runDueEvents();
    EXPECT_THAT(opened, IsEmpty());
}

TEST_F(FileManagerOnABus, TheFolderIsOpenedWhenItDoesNotShowTheFile) {
    {
        FileManager files = manager();
        files.showInFolder("/tmp/x/y");
        EXPECT_TRUE(eventually([&] { return !opened.empty(); })) << "nobody is there";
    }
    ASSERT_TRUE(serve());
    for (const auto manner : {StandIn::Manner::refuses, StandIn::Manner::isSilent}) {
        opened.clear();
        standIn.manner = manner;
        FileManager files = manager(std::chrono::milliseconds(200));
        files.showInFolder("/tmp/x/y");
        EXPECT_THAT(opened, IsEmpty()) << "it returns before";
        EXPECT_TRUE(eventually([&] { return !opened.empty(); }));
        EXPECT_THAT(opened, ElementsAre("file:///tmp/x"));
    }
}

TEST_F(FileManagerOnABus, TheFolderIsOpenedWhereThereIsNoBus) {
    FileManager files(QDBusConnection(QStringLiteral("none")), [this](const QUrl& folder) {
        opened.push_back(folder.toString().toStdString());
    });
    files.showInFolder("/tmp/x/y");
    EXPECT_TRUE(eventually([&] { return !opened.empty(); }));
}

} // namespace

#include "FileManagerTest.moc"
