#pragma once

#include <QPlainTextEdit>

/// A paragraph that can be selected, as high as its text up to some lines, and scrolls beyond.
/// Never anything but plain text. It breaks inside a word, too, where that is longer than a line:
/// paths and addresses are shown whole.
class TextBlock final : public QPlainTextEdit {
    Q_OBJECT

  public:
    /// @param maximumLines what it is high at most
    /// @param padding between its edge and the text
    TextBlock(int maximumLines, int padding, QWidget* parent);

    /// The same text again leaves it scrolled as it is.
    void setText(const QString& text);

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void fitHeight();

    int m_maximumLines;
};
