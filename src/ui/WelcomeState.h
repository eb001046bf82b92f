#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include <QCoreApplication>
#include <QString>

#include "daemon/Records.h"
#include "hooks/Hooks.h"
#include "relay/Invite.h"

/// What the setup guide is computed from.
struct WelcomeFacts {
    // The agents' side.
    bool hasClaude = false;
    bool hasCodex = false;
    Hooks::Status hooks;
    std::optional<Hooks::CodexTrust> codexTrust;
    bool hasLegacyDaemon = false;
    // The daemon.
    ServerState server;
    std::optional<std::size_t> pairedPhones; ///< nothing without relay settings
    std::optional<LiveInvite> invite;
    bool isConnected = false; ///< to the relay
    double idleMinutes = 0;
    // The guide's own.
    bool isCheckingCodex = false;
    bool launchAtLogin = false;
    std::optional<QString> testResult;
    bool testSucceeded = false;
    std::optional<QString> error;
    std::chrono::system_clock::time_point now;
};

/// Everything that the setup guide shows. What one step has in it is in the members of that step's
/// name, whether it is open or not.
struct WelcomeState {
    Q_DECLARE_TR_FUNCTIONS(WelcomeView)

  public:
    enum class Step { hooks, codex, pair, test, login };

    /// What stops everything.
    struct Problem {
        enum class Action { none, takeOver, retry };

        QString title;
        QString text;
        QString button; ///< empty without an action
        Action action = Action::none;

        bool operator==(const Problem&) const = default;
    };

    struct Block {
        Step step = Step::hooks;
        int number = 0; ///< among the visible ones, from 1
        QString title;
        bool isOptional = false;
        bool isDone = false;
        bool isCurrent = false;
        bool isOpen = false;

        bool operator==(const Block&) const = default;
    };

    struct HooksStep {
        QString text;
        QString button;
        bool enablesButton = false;
        QString note;

        bool operator==(const HooksStep&) const = default;
    };

    struct CodexStep {
        QString text;
        QString button;
        bool enablesButton = false;
        QString result;

        bool operator==(const CodexStep&) const = default;
    };

    struct PairStep {
        bool isSetUp = false; ///< else there is but the button that does it
        bool enablesSetUp = false;
        std::optional<QString> link; ///< of a live invite
        QString waiting;

        bool operator==(const PairStep&) const = default;
    };

    struct TestStep {
        bool enablesButton = false;
        QString result;
        bool succeeded = false;

        bool operator==(const TestStep&) const = default;
    };

    struct LoginStep {
        bool isOn = false;
        QString idleText;

        bool operator==(const LoginStep&) const = default;
    };

    [[nodiscard]] static WelcomeState of(const WelcomeFacts& facts);

    std::optional<Problem> problem;
    std::vector<Block> blocks;
    HooksStep hooks;
    CodexStep codex;
    PairStep pair;
    TestStep test;
    LoginStep login;
    std::optional<QString> error;
    bool isComplete = false; ///< the button at the foot finishes, else it postpones
    QString finishButton;

    bool operator==(const WelcomeState&) const = default;
};
