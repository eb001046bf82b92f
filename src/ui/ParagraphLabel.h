#pragma once

#include <functional>

#include <QLabel>
#include <QTextLayout>

#include "ui/Theme.h"

/// A paragraph of plain text with the same distance between all of its lines, whatever scripts are
/// in them. It breaks where words end, and in the middle of one, a path, say, that has no room.
class ParagraphLabel final : public QLabel {
    Q_OBJECT

  public:
    ParagraphLabel(theme::Style style, const QString& look, QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    /// Lays it out into lines of this width and gives their height.
    int layOut(QTextLayout& layout, int width) const;

    theme::Style m_style;
};
