#pragma once

#include "platform/LaunchSocket.h"
#include "ui/ColumnWindow.h"
#include "ui/Theme.h"

/// The window of a launch that finds another one without an interface, or one that stays silent:
/// says which process that is, and what to do.
class LaunchNotice final : public ColumnWindow {
    Q_OBJECT

  public:
    /// @param first how the other one has answered; it has not shown itself
    explicit LaunchNotice(const LaunchAnswer& first);

  Q_SIGNALS:
    void closed();

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void say(theme::Style style, const char* look, const QString& text);
};
