#include "ui/SessionList.h"

#include <QHBoxLayout>

#include "ui/Parts.h"
#include "ui/Theme.h"
#include "ui/VisibleName.h"

using namespace theme;

SessionList::SessionList(QWidget* parent) : QWidget(parent) {
    parts::column(this, metrics::modeParts)
        ->addWidget(parts::label(MenuState::tr("工作階段"), Style::caption, "secondary", this));
}

SessionList::Line SessionList::addLine() {
    auto* widget = new QWidget(this);
    auto* row = new QHBoxLayout(widget);
    row->setContentsMargins({});
    row->setSpacing(metrics::buttonsApart);
    auto* name = new ElidingLabel(Qt::ElideRight, widget);
    name->setFont(theme::font(Style::body));
    name->setMinimumHeight(lineHeight(Style::body));
    name->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    row->addWidget(name, 1);
    QLabel* client = parts::label({}, Style::caption, "secondary", widget);
    row->addWidget(client);
    layout()->addWidget(widget);
    return {widget, name, client};
}

void SessionList::show(const std::vector<MenuState::SessionRow>& sessions) {
    for (; m_lines.size() > sessions.size(); m_lines.pop_back())
        delete m_lines.back().widget;
    while (m_lines.size() < sessions.size())
        m_lines.push_back(addLine());
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        m_lines[i].name->setText(visibleName(sessions[i].name));
        m_lines[i].client->setText(visibleName(sessions[i].client));
    }
}
