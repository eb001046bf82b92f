#include "ui/Confirmation.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPainter>

#include "ui/Button.h"
#include "ui/Parts.h"
#include "ui/Theme.h"
#include "ui/VisibleName.h"

using namespace theme;

namespace {

constexpr Length titleToMessage(8);
constexpr Length messageToButtons(20);
constexpr Length buttonsApart(16);

} // namespace

Confirmation::Confirmation(QWidget* window)
    : QWidget(window),
      m_box(new QWidget(this)),
      m_title(new ParagraphLabel(Style::headline, {}, m_box)),
      m_message(new ParagraphLabel(Style::caption, QStringLiteral("secondary"), m_box)),
      m_cancel(button::make(tr("取消"), button::Look::standard, "cancel", m_box)),
      m_confirm(button::make({}, button::Look::confirm, "confirm", m_box)) {
    hide();
    setObjectName(QStringLiteral("confirmation"));
    m_box->setFixedWidth(metrics::confirmationWidth);
    auto* column = parts::column(m_box, 0);
    const int padding = metrics::confirmationPadding;
    column->setContentsMargins(padding, padding, padding, padding);
    column->addWidget(m_title);
    column->addSpacing(titleToMessage);
    column->addWidget(m_message);
    column->addSpacing(messageToButtons);
    auto* row = new QHBoxLayout;
    row->setSpacing(buttonsApart);
    row->addStretch(1);
    for (QPushButton* each : {m_cancel, m_confirm}) {
        each->setMinimumWidth(metrics::confirmationButtonWidth);
        row->addWidget(each);
    }
    column->addLayout(row);
    auto* whole = new QVBoxLayout(this);
    whole->addStretch(1);
    whole->addWidget(m_box, 0, Qt::AlignHCenter);
    whole->addStretch(2); // The eye expects it above the middle.

    connect(m_cancel, &QPushButton::clicked, this, &Confirmation::dismissed);
    connect(m_confirm, &QPushButton::clicked, this, &Confirmation::confirmed);
    m_confirm->installEventFilter(this);
    window->installEventFilter(this);
}

void Confirmation::ask(const QString& title, const QString& message, const QString& action) {
    m_title->setText(visibleName(title));
    m_message->setText(message);
    m_confirm->setText(action);
    setAccessibleName(m_title->text());
    m_cancel->setAccessibleDescription(m_title->text() + QLatin1Char(' ') + message);
    if (!isHidden())
        return;
    m_focused = parentWidget()->focusWidget();
    setGeometry(parentWidget()->rect());
    show();
    raise();
    m_cancel->setFocus(Qt::TabFocusReason);
}

void Confirmation::finish() {
    if (isHidden())
        return;
    hide();
    if (m_focused && m_focused->isVisible())
        m_focused->setFocus();
    else
        parentWidget()->setFocus(); // Hidden buttons must not keep the keys.
}

void Confirmation::paintEvent(QPaintEvent* /*event*/) {
    const Colors& colors = theme::current();
    QPainter painter(this);
    painter.fillRect(rect(), colors.scrim);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(colors.divider);
    painter.setBrush(colors.window);
    constexpr qreal half = 0.5;
    painter.drawRoundedRect(QRectF(m_box->geometry()).adjusted(half, half, -half, -half),
                            metrics::panelRadius, metrics::panelRadius);
}

void Confirmation::mousePressEvent(QMouseEvent* event) {
    if (!m_box->geometry().contains(event->pos()))
        Q_EMIT dismissed();
}

// The second half of the one that opened it is not meant for what is here now.
void Confirmation::mouseDoubleClickEvent(QMouseEvent* /*event*/) {}

// What is below gets no key.
void Confirmation::keyPressEvent(QKeyEvent* event) {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (event->isAutoRepeat())
        return;
    if (event->key() == Qt::Key_Escape || (isReturn && m_cancel->hasFocus()))
        Q_EMIT dismissed();
}

bool Confirmation::focusNextPrevChild(bool next) {
    QPushButton* const other = m_cancel->hasFocus() ? m_confirm : m_cancel;
    other->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

bool Confirmation::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_confirm)
        return event->type() == QEvent::MouseButtonDblClick;
    if (event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return false;
}
