#pragma once

#include <vector>

#include <QLabel>
#include <QVBoxLayout>
#include <QWidget>

#include "ui/ElidingLabel.h"
#include "ui/MenuState.h"

/// The agents' sessions, a line for each. Every event of an agent may change them, so lines are
/// kept and only their words replaced.
class SessionList final : public QWidget {
    Q_OBJECT

  public:
    explicit SessionList(QWidget* parent = nullptr);

    void show(const std::vector<MenuState::SessionRow>& sessions);
    using QWidget::show;

  private:
    struct Line {
        QWidget* widget;
        ElidingLabel* name;
        QLabel* client;
    };

    [[nodiscard]] Line addLine();

    std::vector<Line> m_lines;
};
