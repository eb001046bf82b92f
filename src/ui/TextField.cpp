#include "ui/TextField.h"

#include <QEvent>

#include "ui/Theme.h"

// What has a style sheet hands no palette down.
TextField::TextField(QWidget* parent) : QLineEdit(parent) {
    setPalette(theme::palette());
}

bool TextField::event(QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange)
        setPalette(theme::palette());
    return QLineEdit::event(event);
}
