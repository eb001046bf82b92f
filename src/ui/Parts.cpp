#include "ui/Parts.h"

#include "core/Text.h"

namespace parts {

QVBoxLayout* column(QWidget* widget, int spacing) {
    auto* column = new QVBoxLayout(widget);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(spacing);
    return column;
}

QFrame* divider(QWidget* parent) {
    auto* divider = new QFrame(parent);
    divider->setProperty("look", QStringLiteral("divider"));
    return divider;
}

QLabel* label(const QString& text, theme::Style style, const char* look, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setFont(theme::font(style));
    label->setMinimumHeight(theme::lineHeight(style));
    label->setProperty("look", QLatin1String(look));
    return label;
}

QString visibleName(const QString& name) {
    constexpr ushort downwardsArrowToTheLeft = 0x21B5;
    QString shown;
    const std::string utf8 = name.toStdString();
    for (const text::Piece& piece : text::pieces(utf8)) {
        if (piece.mark.empty())
            shown +=
                QString::fromUtf8(piece.text.data(), static_cast<qsizetype>(piece.text.size()));
        else
            shown += QStringLiteral("[%1]").arg(QString::fromStdString(piece.mark));
    }
    return shown.replace(QLatin1Char('\n'), QChar(downwardsArrowToTheLeft));
}

} // namespace parts
