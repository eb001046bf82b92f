#include <algorithm>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QTextEdit>

#include <gmock/gmock.h>

#include "support/Eventually.h"
#include "ui/ElidingLabel.h"
#include "ui/FocusRing.h"
#include "ui/Marks.h"
#include "ui/PairingQR.h"
#include "ui/ParagraphLabel.h"
#include "ui/SegmentedControl.h"
#include "ui/WindowStates.h"

// What holds in every state of every window.

namespace {

struct WindowsTest : testing::TestWithParam<WindowState> {
    std::shared_ptr<QWidget> m_window = GetParam().show();

    template <typename Widget = QWidget>
    std::vector<Widget*> visible() {
        std::vector<Widget*> all;
        for (Widget* widget : m_window->findChildren<Widget*>())
            if (widget->isVisible())
                all.push_back(widget);
        return all;
    }
    // A confirmation takes everything that is meant for what it lies over.
    bool isCovered(const QWidget* widget) {
        const auto* over = m_window->findChild<QWidget*>(QStringLiteral("confirmation"));
        return over && over->isVisible() && !over->isAncestorOf(widget);
    }
};

std::string nameOf(const QWidget* widget) {
    return std::string(widget->metaObject()->className()) + " " +
           widget->objectName().toStdString();
}

bool isControl(const QWidget* widget) {
    return qobject_cast<const QAbstractButton*>(widget) || qobject_cast<const QLineEdit*>(widget) ||
           (qobject_cast<const QTextEdit*>(widget) && widget->focusPolicy() != Qt::NoFocus);
}

QAccessible::Role roleOf(const QWidget* widget) {
    if (qobject_cast<const QCheckBox*>(widget))
        return QAccessible::CheckBox;
    if (qobject_cast<const SegmentedControl*>(widget->parentWidget()))
        return QAccessible::RadioButton;
    return qobject_cast<const QAbstractButton*>(widget) ? QAccessible::Button
                                                        : QAccessible::EditableText;
}

TEST_P(WindowsTest, SaysWhatEverythingIs) {
    const auto said = [](QWidget* widget) {
        return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
    };
    for (QWidget* widget : visible()) {
        if (isControl(widget)) {
            EXPECT_NE(said(widget), QString()) << nameOf(widget);
            EXPECT_EQ(QAccessible::queryAccessibleInterface(widget)->role(), roleOf(widget))
                << nameOf(widget);
        }
        const bool isDrawn = qobject_cast<StatusMark*>(widget) || qobject_cast<Spinner*>(widget) ||
                             qobject_cast<StepBadge*>(widget) || qobject_cast<PairingQR*>(widget);
        if (isDrawn || qobject_cast<SegmentedControl*>(widget)) {
            EXPECT_NE(said(widget), QString()) << nameOf(widget);
        }
    }
    for (const QLabel* label : visible<QLabel>()) {
        const bool isWords = !label->text().isEmpty();
        EXPECT_TRUE(!isWords || label->textFormat() == Qt::PlainText) << nameOf(label);
    }
}

TEST_P(WindowsTest, IsUsedByTheKeyboardInReadingOrder) {
    std::vector<QWidget*> expected;
    for (QWidget* widget : visible()) {
        const auto* button = qobject_cast<QAbstractButton*>(widget);
        // The arrow keys go on from the segment that is chosen.
        const bool isOther = button && button->autoExclusive() && !button->isChecked();
        if (isControl(widget) && widget->isEnabled() && !isOther && !isCovered(widget))
            expected.push_back(widget);
    }
    std::vector<QWidget*> reached;
    for (std::size_t i = 0; i < expected.size() + 3; ++i) {
        QWidget* const at = m_window->focusWidget();
        QTest::keyClick(at ? at : m_window.get(), Qt::Key_Tab);
        QWidget* const focused = m_window->focusWidget();
        if (!focused || !isControl(focused) || std::ranges::count(reached, focused) > 0)
            continue;
        reached.push_back(focused);
        const auto* ring = m_window->findChild<FocusRing*>();
        EXPECT_TRUE(qobject_cast<QLineEdit*>(focused) || (ring && ring->isVisible()))
            << nameOf(focused);
    }
    for (const QWidget* widget : expected)
        EXPECT_EQ(std::ranges::count(reached, widget), 1) << nameOf(widget) << " is out of reach";
    // Places are those before anything was scrolled to.
    for (QScrollArea* area : visible<QScrollArea>())
        area->verticalScrollBar()->setValue(0);
    std::erase_if(reached, [](const QWidget* widget) { return widget->visibleRegion().isEmpty(); });
    const auto frame = [&](const QWidget* widget) {
        return QRect(widget->mapTo(m_window.get(), QPoint()), widget->size());
    };
    const auto first = std::ranges::min_element(reached, {}, [&](const QWidget* widget) {
        return std::pair(frame(widget).top(), frame(widget).left());
    });
    if (first != reached.end()) // It begins where the focus was.
        std::rotate(reached.begin(), first, reached.end());
    for (std::size_t i = 1; i < reached.size(); ++i) {
        const QRect before = frame(reached[i - 1]);
        const QRect after = frame(reached[i]);
        EXPECT_TRUE(after.top() > before.bottom() ||
                    (after.bottom() >= before.top() && after.left() > before.right()))
            << nameOf(reached[i]) << " comes after " << nameOf(reached[i - 1]);
    }
}

TEST_P(WindowsTest, CutsNothingOff) {
    for (const QWidget* widget : visible()) {
        const bool scrolls =
            qobject_cast<const QAbstractScrollArea*>(widget->parentWidget()) ||
            (widget->parentWidget()->parentWidget() &&
             qobject_cast<const QAbstractScrollArea*>(widget->parentWidget()->parentWidget()));
        const bool isAround = qobject_cast<const FocusRing*>(widget) != nullptr;
        if (!scrolls && !isAround) {
            EXPECT_TRUE(widget->parentWidget()->rect().contains(widget->geometry()))
                << nameOf(widget);
        }
        const auto* label = qobject_cast<const QLabel*>(widget);
        const bool isLine = label && !label->text().isEmpty() &&
                            !qobject_cast<const ElidingLabel*>(widget) &&
                            !qobject_cast<const ParagraphLabel*>(widget);
        if (isLine || qobject_cast<const QAbstractButton*>(widget)) {
            EXPECT_GE(widget->width(), widget->sizeHint().width()) << nameOf(widget);
        }
        const auto* paragraph = qobject_cast<const ParagraphLabel*>(widget);
        if (paragraph) {
            EXPECT_GE(paragraph->height(), paragraph->heightForWidth(paragraph->width()))
                << paragraph->text().toStdString();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, WindowsTest, testing::ValuesIn(windowStates()),
                         [](const auto& state) {
                             std::string name = state.param.window + "_" + state.param.name;
                             std::ranges::replace(name, '-', '_');
                             return name;
                         });

} // namespace
