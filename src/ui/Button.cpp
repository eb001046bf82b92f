#include "ui/Button.h"

#include "ui/Theme.h"

using namespace theme;

namespace button {

namespace {

const char* nameOf(Look look) {
    switch (look) {
    case Look::prominent:
        return "prominent";
    case Look::tinted:
        return "tinted";
    case Look::destructive:
        return "destructive";
    case Look::confirm:
        return "confirm";
    case Look::plain:
        return "plain";
    case Look::link:
        return "link";
    case Look::standard:
        break;
    }
    return "standard";
}

} // namespace

QPushButton* make(const QString& text, Look look, const char* name, QWidget* parent) {
    auto* made = new QPushButton(text, parent);
    made->setObjectName(QLatin1String(name));
    made->setAutoDefault(false);
    made->setFocusPolicy(Qt::TabFocus);
    made->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    setLook(*made, look);
    return made;
}

void setLook(QPushButton& button, Look look) {
    const bool standsOut = look == Look::prominent || look == Look::tinted || look == Look::confirm;
    button.setFont(standsOut ? emphasized(Style::control) : theme::font(Style::control));
    theme::setLook(button, QLatin1String(nameOf(look)));
}

void makeSmall(QPushButton& button) {
    button.setProperty("small", true);
    QFont font = button.font();
    font.setPixelSize(theme::font(Style::caption).pixelSize());
    button.setFont(font);
}

} // namespace button
