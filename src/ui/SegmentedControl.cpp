#include "ui/SegmentedControl.h"

#include <QHBoxLayout>
#include <QPainter>
#include <QPushButton>

#include "ui/Theme.h"

using namespace theme;

namespace {

class Segment final : public QPushButton {
  public:
    Segment(const QString& text, QWidget* parent) : QPushButton(text, parent) {
        setCheckable(true);
        setAutoExclusive(true); // A radio button to assistive technology.
        setObjectName(text);
        setProperty("look", QStringLiteral("segment"));
        setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Fixed);
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        const Colors& colors = theme::current();
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        if (isChecked()) {
            painter.setPen(colors.thumbBorder);
            painter.setBrush(colors.thumb);
            painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5),
                                    metrics::segmentRadius, metrics::segmentRadius);
        }
        painter.setFont(isChecked() ? emphasized(Style::control) : theme::font(Style::body));
        const QColor words = isChecked() || underMouse() ? colors.text : colors.text2;
        painter.setPen(isEnabled() ? words : disabled(words));
        painter.drawText(rect(), Qt::AlignCenter, text());
    }
};

} // namespace

SegmentedControl::SegmentedControl(const QString& name, const QStringList& choices, QWidget* parent)
    : QFrame(parent) {
    setAccessibleName(name);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(metrics::segmentPadding, metrics::segmentPadding,
                               metrics::segmentPadding, metrics::segmentPadding);
    layout->setSpacing(0);
    for (const QString& choice : choices) {
        auto* segment = new Segment(choice, this);
        m_buttons.addButton(segment, static_cast<int>(m_buttons.buttons().size()));
        layout->addWidget(segment);
    }
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Toggled by arrow keys, too, where nothing is clicked.
    connect(&m_buttons, &QButtonGroup::idToggled, this, [this](int id, bool isOn) {
        if (isOn)
            Q_EMIT chosen(id);
    });
}

void SegmentedControl::setChoice(int index) {
    const QSignalBlocker blocker(m_buttons);
    if (QAbstractButton* button = m_buttons.button(index))
        button->setChecked(true);
    // Qt sees to this only once one of them has been chosen by a person.
    for (QAbstractButton* button : m_buttons.buttons())
        button->setFocusPolicy(button->isChecked() ? Qt::StrongFocus : Qt::ClickFocus);
}

void SegmentedControl::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(theme::current().fill);
    painter.drawRoundedRect(rect(), metrics::segmentTrackRadius, metrics::segmentTrackRadius);
}
