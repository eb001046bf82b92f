#include "ui/PhoneList.h"

#include <algorithm>
#include <utility>

#include <QHBoxLayout>
#include <QPushButton>
#include <QScrollBar>

#include "ui/Button.h"
#include "ui/ElidingLabel.h"
#include "ui/Marks.h"
#include "ui/Parts.h"
#include "ui/Theme.h"
#include "ui/VisibleName.h"

using namespace theme;

namespace {

constexpr std::size_t mostRows = 5;
constexpr Length rowsApart(8);
constexpr Length markToWords(10);
constexpr Length rowHeight(38); // A line of the body and one of a caption.

} // namespace

class PhoneList::Row final : public QWidget {
  public:
    explicit Row(PhoneList* list);

    void show(const PairState::Phone& phone);
    using QWidget::show;
    [[nodiscard]] const QString& id() const { return m_id; }

  private:
    QString m_id;
    StatusMark* m_mark;
    ElidingLabel* m_name;
    QLabel* m_added;
    QPushButton* m_remove;
};

PhoneList::Row::Row(PhoneList* list)
    : QWidget(list->widget()),
      m_mark(new StatusMark(metrics::phoneMarkSize, this)),
      m_name(new ElidingLabel(Qt::ElideRight, this)),
      m_added(parts::label({}, Style::caption, "secondary", this)),
      m_remove(button::make(PairState::tr("移除…"), button::Look::standard, "remove", this)) {
    setFixedHeight(rowHeight);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(markToWords);
    row->addWidget(m_mark);
    auto* words = new QVBoxLayout;
    words->setSpacing(0);
    m_name->setObjectName(QStringLiteral("name"));
    m_name->setFont(theme::font(Style::body));
    m_name->setFixedHeight(lineHeight(Style::body));
    m_name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    words->addWidget(m_name);
    m_added->setFixedHeight(lineHeight(Style::caption));
    words->addWidget(m_added);
    row->addLayout(words, 1);
    button::makeSmall(*m_remove);
    row->addWidget(m_remove);
    connect(m_remove, &QPushButton::clicked, list,
            [this, list] { Q_EMIT list->removeClicked(m_id); });
}

void PhoneList::Row::show(const PairState::Phone& phone) {
    m_id = phone.id;
    m_mark->set(phone.isOnline ? StatusMark::Color::green : StatusMark::Color::faint,
                phone.isOnline ? PairState::tr("在線") : PairState::tr("不在線上"));
    m_name->setText(visibleName(phone.name));
    m_added->setText(phone.added);
    m_remove->setAccessibleName(PairState::tr("移除「%1」…").arg(m_name->text()));
}

PhoneList::PhoneList(int margin, QWidget* parent) : QScrollArea(parent), m_margin(margin) {
    setObjectName(QStringLiteral("phones"));
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidgetResizable(true);
    auto* content = new QWidget;
    m_column = parts::column(content, rowsApart);
    setWidget(content);
    content->setAutoFillBackground(false);
    viewport()->setAutoFillBackground(false);
}

PhoneList::~PhoneList() = default;

void PhoneList::show(const std::vector<PairState::Phone>& phones) {
    std::vector<Row*> rows;
    for (const PairState::Phone& phone : phones) {
        const auto kept = std::ranges::find_if(
            m_rows, [&](const Row* row) { return row && row->id() == phone.id; });
        Row* const row = kept == m_rows.end() ? new Row(this) : std::exchange(*kept, nullptr);
        row->show(phone);
        m_column->removeWidget(row);
        m_column->addWidget(row);
        row->show();
        rows.push_back(row);
    }
    for (Row* gone : m_rows) {
        if (!gone)
            continue;
        m_column->removeWidget(gone);
        gone->hide();
        gone->deleteLater(); // Its own click may have led here.
    }
    m_rows = std::move(rows);
    const bool scrolls = m_rows.size() > mostRows;
    const int shown = static_cast<int>(std::min(m_rows.size(), mostRows));
    setFixedHeight(std::max(shown * (rowHeight + rowsApart) - rowsApart, 0));
    setVerticalScrollBarPolicy(scrolls ? Qt::ScrollBarAlwaysOn : Qt::ScrollBarAlwaysOff);
    const int bar = scrolls ? verticalScrollBar()->sizeHint().width() : 0;
    m_column->setContentsMargins(m_margin, 0, m_margin - bar, 0);
}
