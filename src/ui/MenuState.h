#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <QCoreApplication>
#include <QString>

#include "core/Config.h"
#include "daemon/Records.h"
#include "hooks/Hooks.h"

/// What the panel is computed from.
struct MenuFacts {
    enum class Updater {
        absent, ///< there is none in this build
        busy,   ///< it cannot check now
        ready
    };

    // The daemon.
    std::optional<std::size_t> pairedPhones; ///< nothing without relay settings
    bool isConnected = false;                ///< to the relay
    std::size_t phonesOnline = 0;
    ServerState server;
    AwayMode mode = AwayMode::automatic;
    bool isAway = false;
    double idleMinutes = 0;
    std::vector<std::shared_ptr<const PendingItem>> pending; ///< oldest first
    std::vector<Session> sessions;                           ///< in any order
    // The agents' side.
    Hooks::Status hooks;
    bool hasCodex = false; ///< its directory is there
    std::optional<Hooks::CodexTrust> codexTrust;
    bool hasLegacyDaemon = false;
    // The panel's own.
    std::optional<QString> error;
    bool launchAtLogin = false;
    // Updates.
    Updater updater = Updater::absent;
    std::optional<QString> availableVersion;
};

/// One item that waits, as a row of the panel. Nothing in it is made visible or cut.
struct PendingRowState {
    Q_DECLARE_TR_FUNCTIONS(PendingRow)

  public:
    [[nodiscard]] static PendingRowState of(const PendingItem& item);

    QString id;
    QString folder; ///< empty when the item has none
    QString kind;
    QString client;
    QString detail;
    bool isPermission = false; ///< else a stopped turn, which takes an instruction
    bool offersAlways = false;
    QString remembered; ///< what always allowing makes the agent remember; empty without it

    bool operator==(const PendingRowState&) const = default;
};

/// Everything that the panel shows: its texts, and which of its parts are there.
struct MenuState {
    Q_DECLARE_TR_FUNCTIONS(MenuView)

  public:
    enum class Mark { green, orange, gray };

    /// Why the local server does not listen.
    struct Failure {
        QString message;
        QString explanation; ///< empty when there is none
        QString button;
        bool isTakeover = false; ///< what the button does: take over, else try again

        bool operator==(const Failure&) const = default;
    };

    struct Warning {
        enum class Kind { hooks, codexTrust };

        Kind kind = Kind::hooks;
        QString title;
        QString text;
        QString button;

        bool operator==(const Warning&) const = default;
    };

    struct SessionRow {
        QString name;
        QString client;

        bool operator==(const SessionRow&) const = default;
    };

    [[nodiscard]] static MenuState of(const MenuFacts& facts);

    QString status;
    Mark mark = Mark::gray;
    std::optional<Failure> failure;
    std::optional<Warning> warning;
    std::optional<QString> error;
    AwayMode mode = AwayMode::automatic;
    QString modeDescription;
    std::vector<PendingRowState> pending;
    std::vector<SessionRow> sessions;
    QString pairButton;
    std::optional<QString> updateButton; ///< while a newer version is known
    bool launchAtLogin = false;
    bool showsUpdateCheck = false;
    bool enablesUpdateCheck = false;
    bool offersHookRemoval = false;

    bool operator==(const MenuState&) const = default;
};

/// Whether every entry is there, and the program that they run is the current one.
[[nodiscard]] bool areComplete(const Hooks::Status& hooks);
