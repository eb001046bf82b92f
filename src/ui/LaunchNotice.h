#pragma once

#include <QWidget>

#include "platform/LaunchSocket.h"

/// The window of a launch that finds another one without an interface, or one that stays silent:
/// says which process that is, and what to do.
class LaunchNotice final : public QWidget {
    Q_OBJECT

  public:
    /// @param first how the other one has answered; it has not shown itself
    explicit LaunchNotice(const LaunchAnswer& first);

    void open();

  Q_SIGNALS:
    void closed();

  protected:
    bool event(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};
