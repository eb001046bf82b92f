#pragma once

#include <cstddef>

#include <QCoreApplication>
#include <QString>

#include "ui/MenuState.h"

/// What the tray icon and its menu show.
struct TrayState {
    Q_DECLARE_TR_FUNCTIONS(Tray)

  public:
    /// @param facts items and sessions are not looked at: `waiting` is the number of the former,
    ///        so that a large question costs nothing here
    [[nodiscard]] static TrayState of(const MenuFacts& facts, std::size_t waiting);

    std::size_t waiting = 0;
    QString toolTip; ///< the status, and how many items wait
    MenuState menu;  ///< without its items and sessions
};
