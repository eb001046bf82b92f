#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <QElapsedTimer>

#include "ui/TextBlock.h"

/// The box with what an agent asks for, word for word: monospaced, in the order in which a program
/// reads it, with characters that hide shown as marks, and numbers before lines where there are
/// several. It grows to twelve lines and scrolls beyond.
///
/// Lines break at spaces, within a word only when it has no room, and never behind a hyphen. What
/// is copied out of it is the text itself, without marks.
class CommandBox final : public TextBlock {
    Q_OBJECT

  public:
    explicit CommandBox(QWidget* parent = nullptr);

    /// More than this is not laid out.
    static constexpr std::size_t maximumShown = std::size_t{64} << 10;

    void setCommand(std::string_view utf8);
    /// How many characters `maximumShown` has left out.
    [[nodiscard]] std::size_t charactersLeftOut() const { return m_leftOut; }
    [[nodiscard]] bool hidesSomething() const { return !m_marks.empty(); }

  protected:
    [[nodiscard]] QMimeData* createMimeDataFromSelection() const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void changeEvent(QEvent* event) override;
    [[nodiscard]] int gutter() const override;

  private:
    class Gutter;
    struct Mark {
        int begin = 0; // In the document.
        int end = 0;
    };

    struct Formats {
        QTextCharFormat plain;
        QTextCharFormat joiner;
        QTextCharFormat mark;
    };

    [[nodiscard]] static std::size_t bytesOf(QChar unit);
    void insert(QTextCursor& cursor, const Formats& formats, std::string_view text, std::size_t at);
    void lay();
    [[nodiscard]] QRectF frameOf(const Mark& mark) const;
    void placeGutter();
    void paintNumbers(QPainter& painter, const QRect& area);

    std::string m_command;
    std::vector<std::size_t> m_sources; // Of each character of the document: where it is from.
    std::vector<Mark> m_marks;
    std::size_t m_leftOut = 0;
    bool m_isEmpty = true; // Nothing has been set.
    QElapsedTimer m_lastWheel;
    Gutter* m_gutter;
};
