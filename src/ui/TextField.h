#pragma once

#include <QLineEdit>

/// A field of one line. What stands in it, and the placeholder of an empty one, have the theme's
/// colours: a style sheet would give the placeholder half of the text's.
class TextField final : public QLineEdit {
    Q_OBJECT

  public:
    explicit TextField(QWidget* parent = nullptr);

  protected:
    bool event(QEvent* event) override;
};
