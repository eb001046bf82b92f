#include "ui/PairPanel.h"

#include <algorithm>

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QHBoxLayout>

#include "ui/Button.h"
#include "ui/Marks.h"
#include "ui/Parts.h"
#include "ui/Theme.h"
#include "ui/VisibleName.h"

using namespace theme;

namespace {

constexpr Length formParts(12);
constexpr Length pairingParts(14);
constexpr Length phoneParts(8);
constexpr Length codeSize(220);

// Parts with the window's padding on both sides.
QVBoxLayout* padded(int spacing) {
    auto* column = new QVBoxLayout;
    column->setContentsMargins(metrics::windowPadding, 0, metrics::windowPadding, 0);
    column->setSpacing(spacing);
    return column;
}

// Digits are not equally wide in every font, and the sentence must not move with each of them.
int widestWidth(const QLabel& label) {
    int widest = 0;
    for (char digit = '0'; digit <= '9'; ++digit) {
        QString text = label.text();
        std::ranges::replace_if(
            text, [](QChar character) { return character.isDigit(); }, QLatin1Char(digit));
        widest = std::max(widest, label.fontMetrics().horizontalAdvance(text));
    }
    return widest;
}

} // namespace

PairPanel::PairPanel(QWidget* parent) : QWidget(parent), m_pairing(new QWidget(this)) {
    setFixedWidth(metrics::pairingWidth);
    setFocusPolicy(Qt::ClickFocus);
    auto* whole = parts::column(this, 0);
    whole->setContentsMargins(0, metrics::windowPadding, 0, metrics::windowPadding);
    m_form = madeForm();
    whole->addWidget(m_form);
    whole->addWidget(m_pairing);

    auto* column = parts::column(m_pairing, pairingParts);
    auto* top = padded(pairingParts);
    auto* title = parts::label(PairState::tr("用 Tamsell App 掃描"), Style::title2, "", m_pairing);
    top->addWidget(title, 0, Qt::AlignHCenter);
    m_code = madeCode();
    top->addWidget(m_code);
    m_placeholder = madePlaceholder();
    top->addWidget(m_placeholder);
    top->addWidget(parts::divider(m_pairing));
    column->addLayout(top);
    column->addLayout(madePhones());
    column->addLayout(madeFooter());
}

QWidget* PairPanel::madeForm() {
    auto* form = new QWidget(this);
    auto* column = parts::column(form, formParts);
    column->setContentsMargins(metrics::windowPadding, 0, metrics::windowPadding, 0);
    column->addWidget(parts::label(PairState::tr("配對手機"), Style::title2, "", form));
    m_earlierPairing = new ParagraphLabel(Style::body, QStringLiteral("warning"), form);
    m_earlierPairing->setObjectName(QStringLiteral("earlierPairing"));
    m_earlierPairing->setText(
        PairState::tr("這一版的每支手機都有自己的金鑰，之前配對的手機要重新掃描一次。"));
    column->addWidget(m_earlierPairing);
    auto* explanation = new ParagraphLabel(Style::body, QStringLiteral("secondary"), form);
    explanation->setText(
        PairState::tr("手機和這台 Mac 經過中繼連線，內容全程端對端加密，中繼看不到。"));
    column->addWidget(explanation);
    m_field = new TextField(form);
    m_field->setObjectName(QStringLiteral("relayURL"));
    m_field->setFont(theme::font(Style::control));
    m_field->setPlaceholderText(PairState::tr("中繼網址"));
    m_field->setAccessibleName(m_field->placeholderText());
    connect(m_field, &QLineEdit::textEdited, this, &PairPanel::urlChanged);
    column->addWidget(m_field);
    m_create =
        button::make(PairState::tr("產生配對 QR code"), button::Look::prominent, "create", form);
    connect(m_create, &QPushButton::clicked, this, &PairPanel::createClicked);
    connect(m_field, &QLineEdit::returnPressed, m_create, [this] { m_create->click(); });
    column->addWidget(m_create);
    return form;
}

QWidget* PairPanel::madeCode() {
    auto* code = new QWidget(m_pairing);
    auto* column = parts::column(code, pairingParts);
    m_qr = new PairingQR(codeSize, code);
    column->addWidget(m_qr, 0, Qt::AlignHCenter);
    m_countdown = parts::label({}, Style::caption, "secondary", code);
    m_countdown->setObjectName(QStringLiteral("countdown"));
    column->addWidget(m_countdown, 0, Qt::AlignHCenter);
    m_link = new CommandBox(code);
    m_link->setObjectName(QStringLiteral("link"));
    m_link->setAccessibleName(PairState::tr("配對連結"));
    column->addWidget(m_link);
    auto* row = new QHBoxLayout;
    row->setSpacing(metrics::buttonsApart);
    row->addStretch(1);
    const auto add = [&](const QString& text, const char* name, void (PairPanel::*clicked)()) {
        QPushButton* made = button::make(text, button::Look::standard, name, code);
        connect(made, &QPushButton::clicked, this, clicked);
        row->addWidget(made);
        return made;
    };
    add(PairState::tr("換一個 QR code"), "newCode", &PairPanel::newCodeClicked);
    m_reveal = add({}, "reveal", &PairPanel::revealToggled);
    add(PairState::tr("複製連結"), "copy", &PairPanel::copyClicked);
    row->addStretch(1);
    column->addLayout(row);
    return code;
}

QWidget* PairPanel::madePlaceholder() {
    auto* placeholder = new QWidget(m_pairing);
    auto* column = parts::column(placeholder, pairingParts);
    auto* place = new QWidget(placeholder);
    place->setFixedHeight(codeSize);
    parts::column(place, 0)->addWidget(new Spinner(Spinner::Size::large, place), 0,
                                       Qt::AlignCenter);
    column->addWidget(place);
    m_waiting = parts::label({}, Style::caption, "secondary", placeholder);
    m_waiting->setObjectName(QStringLiteral("waiting"));
    column->addWidget(m_waiting, 0, Qt::AlignHCenter);
    return placeholder;
}

QLayout* PairPanel::madePhones() {
    auto* column = new QVBoxLayout;
    column->setSpacing(phoneParts);
    auto* head = padded(phoneParts);
    auto* row = new QHBoxLayout;
    row->addWidget(parts::label(PairState::tr("已配對的手機"), Style::headline, "", m_pairing));
    row->addStretch(1);
    m_testPush =
        button::make(PairState::tr("測試推播"), button::Look::standard, "testPush", m_pairing);
    button::makeSmall(*m_testPush);
    connect(m_testPush, &QPushButton::clicked, this, &PairPanel::testPushClicked);
    row->addWidget(m_testPush);
    head->addLayout(row);
    m_noPhones =
        parts::label(PairState::tr("還沒有配對手機"), Style::caption, "secondary", m_pairing);
    m_noPhones->setObjectName(QStringLiteral("noPhones"));
    head->addWidget(m_noPhones);
    column->addLayout(head);
    m_phones = new PhoneList(metrics::windowPadding, m_pairing);
    connect(m_phones, &PhoneList::removeClicked, this, &PairPanel::removeClicked);
    column->addWidget(m_phones);
    auto* foot = padded(0);
    m_testResult = new ParagraphLabel(Style::caption, QStringLiteral("secondary"), m_pairing);
    m_testResult->setObjectName(QStringLiteral("testResult"));
    foot->addWidget(m_testResult);
    column->addLayout(foot);
    return column;
}

QLayout* PairPanel::madeFooter() {
    auto* column = padded(pairingParts);
    column->addWidget(parts::divider(m_pairing));
    auto* row = new QHBoxLayout;
    row->setSpacing(metrics::buttonsApart);
    m_relayURL = new ElidingLabel(Qt::ElideMiddle, m_pairing);
    m_relayURL->setObjectName(QStringLiteral("footerURL"));
    m_relayURL->setFont(theme::font(Style::caption));
    m_relayURL->setProperty("look", QStringLiteral("secondary"));
    m_relayURL->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    auto* copy = new QAction(PairState::tr("複製中繼網址"), m_relayURL);
    connect(copy, &QAction::triggered, m_relayURL, [this] {
        if (m_state)
            QGuiApplication::clipboard()->setText(m_state->relayURL);
    });
    m_relayURL->addAction(copy);
    m_relayURL->setContextMenuPolicy(Qt::ActionsContextMenu);
    row->addWidget(m_relayURL, 1);
    QPushButton* reset =
        button::make(PairState::tr("停用中繼…"), button::Look::destructive, "reset", m_pairing);
    button::makeSmall(*reset);
    connect(reset, &QPushButton::clicked, this, &PairPanel::resetClicked);
    row->addWidget(reset);
    column->addLayout(row);
    return column;
}

void PairPanel::setRelayURL(const QString& url) {
    m_field->setText(url);
}

void PairPanel::show(const PairState& state) {
    if (m_state == state)
        return;
    const bool begins = !m_state;
    const bool hadForm = m_state && m_state->setUp;
    m_state = state;
    m_form->setVisible(state.setUp.has_value());
    m_pairing->setVisible(!state.setUp);
    if (state.setUp) {
        m_earlierPairing->setVisible(state.setUp->mentionsEarlierPairing);
        m_create->setEnabled(state.setUp->enablesCreation);
    } else {
        showCode(state);
        showPhones(state);
        m_relayURL->setText(visibleName(state.relayURL));
    }
    // Qt would hand the focus of what is gone to the next button.
    if (begins || hadForm != state.setUp.has_value())
        (state.setUp ? static_cast<QWidget*>(m_field) : this)->setFocus();
    showConfirmation(state);
}

void PairPanel::showCode(const PairState& state) {
    m_code->setVisible(state.code.has_value());
    m_placeholder->setVisible(!state.code);
    m_waiting->setText(state.waiting);
    m_link->setVisible(state.code && state.code->showsLink);
    if (!state.code)
        return;
    m_qr->setLink(state.code->link);
    m_countdown->setText(state.code->countdown);
    m_countdown->setFixedWidth(widestWidth(*m_countdown));
    m_link->setCommand(state.code->link.toStdString());
    m_reveal->setText(state.code->showsLink ? PairState::tr("隱藏連結")
                                            : PairState::tr("顯示連結"));
}

void PairPanel::showPhones(const PairState& state) {
    m_testPush->setVisible(!state.phones.empty());
    m_noPhones->setVisible(state.phones.empty());
    m_phones->setVisible(!state.phones.empty());
    m_phones->show(state.phones);
    parts::tabAfter(m_testPush, m_phones);
    m_testResult->setVisible(state.testResult.has_value());
    m_testResult->setText(state.testResult.value_or(QString()));
}

void PairPanel::showConfirmation(const PairState& state) {
    if (!state.confirmation) {
        if (m_confirmation)
            m_confirmation->finish();
        return;
    }
    if (!m_confirmation) {
        m_confirmation = new Confirmation(window());
        connect(m_confirmation, &Confirmation::confirmed, this, &PairPanel::confirmed);
        connect(m_confirmation, &Confirmation::dismissed, this, &PairPanel::confirmationDismissed);
    }
    m_confirmation->ask(state.confirmation->title, state.confirmation->message,
                        state.confirmation->action);
}
