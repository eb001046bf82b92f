#pragma once

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <QCoreApplication>
#include <QLocale>
#include <QString>

#include "core/Config.h"
#include "relay/Invite.h"

/// What the pairing window is computed from.
struct PairFacts {
    // The daemon.
    std::optional<RelayConfig> relay;
    bool hasRelayURL = false; ///< of settings that are complete or not
    std::optional<LiveInvite> invite;
    bool isConnected = false;
    std::set<std::string> online; ///< ids of phones
    // The window's own.
    QString relayURL; ///< as it is being entered
    bool revealLink = false;
    bool confirmReset = false;
    std::optional<PairedDevice> removing;
    std::optional<QString> testResult;
    std::chrono::system_clock::time_point now;
    // The user's.
    QLocale locale;
};

/// Everything that the pairing window shows.
struct PairState {
    Q_DECLARE_TR_FUNCTIONS(PairView)

  public:
    /// The form that sets the relay up, while there are no settings.
    struct SetUp {
        bool mentionsEarlierPairing = false;
        bool enablesCreation = false;

        bool operator==(const SetUp&) const = default;
    };

    /// A live invite, to be scanned.
    struct Code {
        QString link;
        QString countdown; ///< the sentence with it
        bool showsLink = false;

        bool operator==(const Code&) const = default;
    };

    struct Phone {
        QString id;
        QString name;
        QString added; ///< the date
        bool isOnline = false;

        bool operator==(const Phone&) const = default;
    };

    struct Confirmation {
        QString title;
        QString message;
        QString action;

        bool operator==(const Confirmation&) const = default;
    };

    [[nodiscard]] static PairState of(const PairFacts& facts);

    std::optional<SetUp> setUp; ///< and then nothing of what follows
    std::optional<Code> code;
    QString waiting; ///< what is waited for while there is no code
    std::vector<Phone> phones;
    std::optional<QString> testResult;
    QString relayURL;
    std::optional<Confirmation> confirmation;

    bool operator==(const PairState&) const = default;
};

/// "9:59": minutes and whole seconds, never below 0:00.
[[nodiscard]] QString countdownText(std::chrono::system_clock::duration left);

/// Day, abbreviated month and year as the locale writes them.
/// @param milliseconds since 1970
[[nodiscard]] QString dateText(double milliseconds, const QLocale& locale);
