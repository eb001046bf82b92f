#include "platform/FileManager.h"

#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "support/Eventually.h"
#include "support/SessionBus.h"

#include "FileManagerStandIn.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct FileManagerOnABus : testing::Test {
    SessionBus bus;
    FileManagerStandIn standIn;
    std::vector<std::string> opened;

    bool serve() {
        QDBusConnection service = bus.connect(QStringLiteral("service"));
        return service.registerObject(QStringLiteral("/org/freedesktop/FileManager1"), &standIn,
                                      QDBusConnection::ExportAllSlots) &&
               service.registerService(QStringLiteral("org.freedesktop.FileManager1"));
    }
    FileManager manager(std::chrono::milliseconds patience = std::chrono::seconds(10)) {
        return FileManager(
            bus.connect(QStringLiteral("caller")),
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
