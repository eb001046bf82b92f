#include "relayd/SQLiteStore.h"

#include <cerrno>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "core/Descriptor.h"

namespace {

constexpr int version = 1;

// FULL: a phone's admission that is lost with the power is a phone that has to be paired again.
// Who backs the file up may hold it for a moment.
constexpr const char* settings = "PRAGMA busy_timeout = 1000;"
                                 "PRAGMA journal_mode = WAL;"
                                 "PRAGMA synchronous = FULL;"
                                 "PRAGMA foreign_keys = ON;"
                                 "PRAGMA trusted_schema = OFF;";
constexpr const char* schema =
    "CREATE TABLE channels (name TEXT PRIMARY KEY, token_hash TEXT NOT NULL) WITHOUT ROWID;"
    "CREATE TABLE devices (channel TEXT NOT NULL REFERENCES channels(name), id TEXT NOT NULL,"
    " admission TEXT NOT NULL, PRIMARY KEY (channel, id)) WITHOUT ROWID;"
    "PRAGMA user_version = 1;";

struct Close {
    void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};

} // namespace

class SQLiteStore::Database {
  public:
    explicit Database(const std::filesystem::path& file) : m_name(file.string()) {
        // SQLite would make it readable for everybody. Closed before SQLite has it open: that would
        // give up SQLite's own locks (sqlite.org, "How To Corrupt An SQLite Database File").
        Descriptor(::open(m_name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR)).reset();
        lock();
        sqlite3* opened = nullptr;
        const int result = sqlite3_open_v2(m_name.c_str(), &opened,
                                           SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
        m_database.reset(opened);
        if (result != SQLITE_OK)
            fail();
        run(settings);
        const int found = userVersion();
        if (found > version)
            throw std::runtime_error(m_name + ": of a newer version of tamsell-relay");
        if (found == 0)
            run("BEGIN IMMEDIATE;" + std::string(schema) + "COMMIT;");
    }

    /// A prepared statement, with its parameters bound, that is reset when it goes.
    class Query {
      public:
        Query(Database& database, const char* sql, std::initializer_list<std::string_view> values)
            : m_database(database), m_statement(database.prepared(sql)) {
            int number = 0;
            for (const std::string_view value : values)
                if (sqlite3_bind_text(m_statement, ++number, value.data(),
                                      static_cast<int>(value.size()),
                                      SQLITE_TRANSIENT) != SQLITE_OK) // NOLINT
                    database.fail();
        }
        Query(const Query&) = delete;
        Query& operator=(const Query&) = delete;
        ~Query() {
            sqlite3_reset(m_statement);
            sqlite3_clear_bindings(m_statement);
        }

        /// Whether there is a row, or one more.
        bool next() {
            const int result = sqlite3_step(m_statement);
            if (result != SQLITE_ROW && result != SQLITE_DONE)
                m_database.fail();
            return result == SQLITE_ROW;
        }
        [[nodiscard]] std::string text(int column) const {
            const auto* bytes =
                reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
            return {bytes ? bytes : "",
                    static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column))};
        }
        [[nodiscard]] int number(int column) const {
            return sqlite3_column_int(m_statement, column);
        }

      private:
        Database& m_database;
        sqlite3_stmt* m_statement;
    };

    void run(const std::string& sql) {
        if (sqlite3_exec(m_database.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
            fail();
    }

    /// Also when SQLite has done so itself, as it does when the disk is full.
    void rollBack() { sqlite3_exec(m_database.get(), "ROLLBACK", nullptr, nullptr, nullptr); }

    [[nodiscard]] bool hasChanged() const { return sqlite3_changes(m_database.get()) > 0; }

    [[noreturn]] void fail() const {
        throw std::runtime_error(m_name + ": " +
                                 (m_database ? sqlite3_errmsg(m_database.get()) : "no memory"));
    }

  private:
    // Two relays with one file would each believe to know it. Not SQLite's own exclusive mode: the
    // file is to be backed up while it is in use.
    void lock() {
        const std::string name = m_name + ".lock";
        m_lock = Descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR));
        if (!m_lock.isValid())
            throw std::runtime_error(name + ": " + std::generic_category().message(errno));
        if (::flock(m_lock.number(), LOCK_EX | LOCK_NB) != 0)
            throw std::runtime_error(m_name + ": another tamsell-relay has it in use");
    }

    // Kept by the address of their text, which is a literal.
    sqlite3_stmt* prepared(const char* sql) {
        auto& statement = m_statements[sql];
        if (!statement) {
            sqlite3_stmt* made = nullptr;
            const int result = sqlite3_prepare_v3(m_database.get(), sql, -1,
                                                  SQLITE_PREPARE_PERSISTENT, &made, nullptr);
            statement.reset(made);
            if (result != SQLITE_OK)
                fail();
        }
        return statement.get();
    }

    int userVersion() {
        Query query(*this, "PRAGMA user_version", {});
        return query.next() ? query.number(0) : 0;
    }

    const std::string m_name;
    Descriptor m_lock;
    std::unique_ptr<sqlite3, Close> m_database;
    std::map<const char*, std::unique_ptr<sqlite3_stmt, Finalize>> m_statements;
};

SQLiteStore::SQLiteStore(const std::filesystem::path& file)
    : m_database(std::make_unique<Database>(file)) {}

SQLiteStore::~SQLiteStore() = default;

std::optional<StoredChannel> SQLiteStore::find(std::string_view channel) {
    Database::Query known(*m_database, "SELECT token_hash FROM channels WHERE name = ?", {channel});
    if (!known.next())
        return std::nullopt;
    StoredChannel found{.tokenHash = known.text(0), .devices = {}};
    Database::Query devices(*m_database, "SELECT id, admission FROM devices WHERE channel = ?",
                            {channel});
    while (devices.next())
        found.devices.push_back({.id = devices.text(0), .admission = devices.text(1)});
    return found;
}

std::string SQLiteStore::registerChannel(std::string_view channel, std::string_view tokenHash) {
    Database::Query(*m_database, "INSERT INTO channels VALUES (?, ?) ON CONFLICT DO NOTHING",
                    {channel, tokenHash})
        .next();
    if (m_database->hasChanged())
        return std::string(tokenHash);
    const auto found = find(channel);
    return found ? found->tokenHash : std::string();
}

void SQLiteStore::putDevice(std::string_view channel, const StoredChannel::Device& device) {
    Database::Query(*m_database,
                    "INSERT INTO devices VALUES (?, ?, ?) ON CONFLICT DO UPDATE"
                    " SET admission = excluded.admission",
                    {channel, device.id, device.admission})
        .next();
}

void SQLiteStore::removeDevices(std::string_view channel, std::span<const std::string> devices) {
    m_database->run("BEGIN");
    try {
        for (const std::string& device : devices)
            Database::Query(*m_database, "DELETE FROM devices WHERE channel = ? AND id = ?",
                            {channel, device})
                .next();
        m_database->run("COMMIT");
    } catch (...) {
        m_database->rollBack();
        throw;
    }
}
