#pragma once

#include <optional>
#include <vector>

#include <QCoreApplication>
#include <QLocale>
#include <QString>

#include "update/UpdateState.h"

/// Everything that the window of an update shows.
struct UpdateView {
    Q_DECLARE_TR_FUNCTIONS(UpdateView)

  public:
    enum class Action { download, cancel, later, showFile, close };

    struct Progress {
        std::optional<double> fraction; ///< 0 to 1; nothing while nobody knows
        QString text;                   ///< bytes; empty when there are none to count

        bool operator==(const Progress&) const = default;
    };

    QString heading;
    QString caption; ///< the version that runs
    QString notes;   ///< plain text; empty when there are none to show
    QString message; ///< what to do next
    QString file;    ///< path
    QString error;
    std::optional<Progress> progress;
    std::vector<Action> actions;   ///< as the buttons stand, from the left
    std::optional<Action> primary; ///< the one that Return means, and that stands out

    /// What it shows of a state. Nothing in it is to be read as anything but plain text.
    [[nodiscard]] static UpdateView of(const UpdateState& state, const QLocale& locale);
    [[nodiscard]] static QString labelOf(Action action);

    bool operator==(const UpdateView&) const = default;
};
