#include "platform/FileManager.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/Eventually.h"
#include "support/Process.h"
#include "support/Until.h"

#include "FileManagerStandIn.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A bus of this test alone.
struct FileManagerOnABus : testing::Test {
    Process daemon{{.program = "/usr/bin/dbus-daemon",
                    .arguments = {"dbus-daemon", "--session", "--nofork", "--nopidfile",
                                  "--print-address=1"}}};
    FileManagerStandIn standIn;
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
    for (const auto manner :
         {FileManagerStandIn::Manner::refuses, FileManagerStandIn::Manner::isSilent}) {
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
