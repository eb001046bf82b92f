#pragma once

#include <QTextEdit>

#include "ui/Theme.h"

/// Plain text to read and to select, as high as its lines up to some number of them; half a line
/// more says that it scrolls beyond. It has the same distance between all of its lines, and breaks
/// inside a word where that is longer than a line: paths and addresses are shown whole.
class TextBlock : public QTextEdit {
    Q_OBJECT

  public:
    /// @param look of the theme, "" for the usual one
    /// @param maximumLines what it is high at most
    /// @param padding between its edge, a border included, and the text
    TextBlock(theme::Style style, const QString& look, int maximumLines, int padding,
              QWidget* parent);

    /// The same text again leaves it scrolled as it is.
    void setText(const QString& text);
    /// By mouse and keyboard, as at first; else it takes no focus either.
    void setSelectable(bool isSelectable);

  protected:
    void resizeEvent(QResizeEvent* event) override;

    /// What every line of the document has.
    [[nodiscard]] QTextBlockFormat lineFormat() const;
    /// What is left of the text, beside the padding.
    [[nodiscard]] virtual int gutter() const { return 0; }
    /// A line that is higher than its font has all of the room above the text: by this much the
    /// whole document lies higher, so that it is in the middle of its lines.
    [[nodiscard]] int raised() const;
    /// Takes the height of what is in the document.
    void fit();

  private:
    theme::Style m_style;
    int m_maximumLines;
    int m_padding;
    bool m_isFitting = false;
};
