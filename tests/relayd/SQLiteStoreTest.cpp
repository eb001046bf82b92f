#include "relayd/SQLiteStore.h"

#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/FileSizeLimit.h"
#include "support/TemporaryDirectory.h"

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(SQLiteStore, KeepsWhatItWasTold) {
    const TemporaryDirectory directory;
    const auto file = directory / "relay.db";
    {
        SQLiteStore store(file);
        EXPECT_EQ(store.find("c"), std::nullopt);
        EXPECT_EQ(store.registerChannel("c", "hash"), "hash");
        EXPECT_EQ(store.registerChannel("c", "other"), "hash");
        store.putDevice("c", {"a", "1"});
        store.putDevice("c", {"b", "2"});
        store.putDevice("c", {"d", "3"});
        store.putDevice("c", {"a", "4"});
        store.removeDevices("c", std::vector<std::string>{"b", "nobody"});
        EXPECT_THROW(store.putDevice("no channel", {"a", "1"}), std::runtime_error);
        EXPECT_THAT([&] { SQLiteStore second(file); },
                    ThrowsMessage<std::runtime_error>(HasSubstr("another tamsell-relay")));
    }
    SQLiteStore store(file);
    const StoredChannel expected{.tokenHash = "hash", .devices = {{"a", "4"}, {"d", "3"}}};
    EXPECT_EQ(store.find("c"), expected);
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(SQLiteStore, RefusesAFileThatIsNoneOfItsOwn) {
    const TemporaryDirectory directory;
    EXPECT_THAT([&] { SQLiteStore store(directory.put("text", std::string(5000, 'x'))); },
                ThrowsMessage<std::runtime_error>(HasSubstr("not a database")));
    EXPECT_THAT([&] { SQLiteStore store(directory / "none" / "relay.db"); },
                ThrowsMessage<std::runtime_error>(HasSubstr("relay.db")));
}

TEST(SQLiteStore, AFullDiskLosesNothing) {
    const TemporaryDirectory directory;
    SQLiteStore store(directory / "relay.db");
    (void)store.registerChannel("c", "hash");
    store.putDevice("c", {"a", "1"});
    {
        const FileSizeLimit full(1024);
        EXPECT_THROW(store.putDevice("c", {"b", "2"}), std::runtime_error);
        EXPECT_THROW(store.removeDevices("c", std::vector<std::string>{"a"}), std::runtime_error);
    }
    store.putDevice("c", {"d", "3"});
    const StoredChannel expected{.tokenHash = "hash", .devices = {{"a", "1"}, {"d", "3"}}};
    EXPECT_EQ(store.find("c"), expected);
}

} // namespace
