#pragma once

#include <filesystem>
#include <memory>

#include "relayd/Store.h"

/// The store in one SQLite file, with a write-ahead log beside it (sqlite.org, "Write-Ahead
/// Logging"). Every change is on the disk when it returns. One process at a time has the file.
class SQLiteStore final : public Store {
  public:
    /// Makes the file, for its owner alone, when there is none.
    /// @throws std::runtime_error with the path when it cannot be opened, is in use, damaged, or
    ///         of a newer version
    explicit SQLiteStore(const std::filesystem::path& file);
    ~SQLiteStore() override;

    [[nodiscard]] std::optional<StoredChannel> find(std::string_view channel) override;
    [[nodiscard]] std::string registerChannel(std::string_view channel,
                                              std::string_view tokenHash) override;
    void putDevice(std::string_view channel, const StoredChannel::Device& device) override;
    void removeDevices(std::string_view channel, std::span<const std::string> devices) override;

  private:
    class Database;
    std::unique_ptr<Database> m_database;
};
