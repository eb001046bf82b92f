#include "ui/VisibleName.h"

#include "core/Text.h"

QString shortened(const QString& text, int characters) {
    if (text.size() <= characters)
        return text;
    const bool splitsPair = text[characters - 1].isHighSurrogate();
    return text.left(splitsPair ? characters - 1 : characters) + QStringLiteral("…");
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
