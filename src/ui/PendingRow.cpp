#include "ui/PendingRow.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QVBoxLayout>

#include "ui/Button.h"
#include "ui/Parts.h"
#include "ui/TextField.h"
#include "ui/Theme.h"
#include "ui/VisibleName.h"

using namespace std::chrono_literals;
using namespace theme;

namespace {

constexpr auto armingTime = 600ms;
// Qt's own limit is a third of that, and cuts a pasted text short without a word. Every key in a
// field this full takes a tenth of a second.
constexpr int longestReply = 100'000;

// Of what a person would see: spaces and tabs alone are nothing.
bool isBlank(const QString& reply) {
    return std::all_of(reply.begin(), reply.end(), [](QChar character) {
        return character == QLatin1Char(' ') || character == QLatin1Char('\t');
    });
}

} // namespace

PendingRow::PendingRow(const PendingRowState& item, Scheduler& scheduler, QWidget* parent)
    : QWidget(parent), m_item(item), m_scheduler(scheduler) {
    parts::column(this, metrics::warningParts);
    addHeader();
    addDetail();
    if (m_item.isPermission)
        addPermissionButtons();
    else
        addReply();
    disarm();
}

void PendingRow::addHeader() {
    auto* header = new QHBoxLayout;
    header->setSpacing(metrics::iconToLabel);
    auto* folder = new ElidingLabel(Qt::ElideRight, this);
    folder->setObjectName(QStringLiteral("folder"));
    folder->setFont(emphasized(Style::body));
    folder->setText(visibleName(m_item.folder));
    folder->setVisible(!m_item.folder.isEmpty());
    header->addWidget(folder);
    // The folder gives way to them, as far as they leave it some room.
    constexpr int mostOfKind = 2;
    constexpr int mostOfClient = 3;
    header->addWidget(bounded("kind", m_item.kind, Style::body, metrics::panelWidth / mostOfKind));
    header->addStretch(1);
    header->addSpacing(metrics::iconToLabel);
    header->addWidget(
        bounded("client", m_item.client, Style::caption, metrics::panelWidth / mostOfClient));
    static_cast<QVBoxLayout*>(layout())->addLayout(header);
}

QWidget* PendingRow::bounded(const char* name, const QString& text, Style style, int most) {
    auto* label = new ElidingLabel(Qt::ElideRight, this);
    label->setObjectName(QLatin1String(name));
    label->setFont(theme::font(style));
    label->setProperty("look", QStringLiteral("secondary"));
    label->setMinimumHeight(lineHeight(style));
    label->setText(visibleName(text));
    label->setFixedWidth(std::min(label->sizeHint().width(), most));
    return label;
}

void PendingRow::addDetail() {
    auto* box = new CommandBox(this);
    box->setObjectName(QStringLiteral("detail"));
    box->setAccessibleName(m_item.isPermission ? tr("要執行的內容") : tr("最後的訊息"));
    box->setCommand(m_item.detail.toStdString());
    layout()->addWidget(box);
    if (box->charactersLeftOut() == 0)
        return;
    auto* rest = new ParagraphLabel(Style::caption, QStringLiteral("warning"), this);
    rest->setText(tr("還有 %1 個字元沒有顯示").arg(box->charactersLeftOut()));
    layout()->addWidget(rest);
}

void PendingRow::addPermissionButtons() {
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(metrics::buttonsApart);
    QPushButton* deny = button::make(tr("拒絕"), button::Look::destructive, "deny", this);
    deny->setFixedWidth(metrics::denyWidth);
    connect(deny, &QPushButton::clicked, this, [this] { answer("deny"); });
    deny->installEventFilter(this);
    buttons->addWidget(deny);
    buttons->addStretch(1);
    if (m_item.offersAlways) {
        m_always = button::make(tr("總是允許"), button::Look::standard, "always", this);
        parts::setToolTip(m_always, m_item.remembered);
        connect(m_always, &QPushButton::clicked, this, [this] { answer("always"); });
        buttons->addWidget(m_always);
    }
    m_allow = button::make(tr("允許"), button::Look::tinted, "allow", this);
    m_allow->setFixedWidth(metrics::allowWidth);
    connect(m_allow, &QPushButton::clicked, this, &PendingRow::allow);
    buttons->addWidget(m_allow);
    static_cast<QVBoxLayout*>(layout())->addLayout(buttons);
}

void PendingRow::addReply() {
    auto* row = new QHBoxLayout;
    row->setSpacing(metrics::buttonsApart);
    m_reply = new TextField(this);
    m_reply->setObjectName(QStringLiteral("reply"));
    m_reply->setMaxLength(longestReply);
    m_reply->setFont(theme::font(Style::body));
    m_reply->setPlaceholderText(tr("下一個指令"));
    m_reply->setAccessibleName(tr("下一個指令"));
    row->addWidget(m_reply);
    m_send = button::make(tr("送出"), button::Look::standard, "send", this);
    m_send->setFixedWidth(metrics::sendWidth);
    m_send->setEnabled(false);
    row->addWidget(m_send);
    connect(m_reply, &QLineEdit::textChanged, this,
            [this](const QString& reply) { m_send->setEnabled(!isBlank(reply)); });
    m_reply->installEventFilter(this);
    connect(m_send, &QPushButton::clicked, this, &PendingRow::send);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
}

void PendingRow::setIsReturnTarget(bool isTarget) {
    if (m_allow)
        button::setLook(*m_allow, isTarget ? button::Look::prominent : button::Look::tinted);
}

void PendingRow::allow() {
    if (m_isArmed && m_allow)
        answer("allow");
}

void PendingRow::answer(const char* action) {
    Q_EMIT answered(m_item.id, {{"action", action}});
}

void PendingRow::send() {
    if (!isBlank(m_reply->text()))
        Q_EMIT answered(m_item.id, {{"action", "reply"}, {"text", m_reply->text().toStdString()}});
}

void PendingRow::disarm() {
    setArmed(false);
    m_arming = m_scheduler.after(armingTime, [this] { setArmed(true); });
}

// Disabled, a button takes no click, no key and no press that began before.
void PendingRow::setArmed(bool isArmed) {
    m_isArmed = isArmed;
    for (QPushButton* approving : {m_allow, m_always})
        if (approving) {
            // Qt would hand the focus of a disabled button on to whatever comes next.
            if (!isArmed && approving->hasFocus())
                parentWidget()->setFocus();
            approving->setEnabled(isArmed);
        }
}

void PendingRow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    disarm();
}

void PendingRow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    disarm();
}

// A field leaves its Return to whoever is around it, where it would go on to allow what moved up.
bool PendingRow::eventFilter(QObject* watched, QEvent* event) {
    // The first half has denied the item that was here; the one that has moved up is another.
    if (watched != m_reply && event->type() == QEvent::MouseButtonDblClick)
        return true;
    if (watched == m_reply && event->type() == QEvent::InputMethod)
        m_isComposing = !static_cast<QInputMethodEvent*>(event)->preeditString().isEmpty();
    if (watched != m_reply || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter)
        return false;
    // One while a character is being composed belongs to the input method.
    if (!key->isAutoRepeat() && !m_isComposing)
        send();
    return true;
}
