#pragma once

#include <optional>
#include <vector>

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include "ui/Icon.h"
#include "ui/Marks.h"
#include "ui/PairingQR.h"
#include "ui/ParagraphLabel.h"
#include "ui/Switch.h"
#include "ui/TextBlock.h"
#include "ui/WelcomeState.h"

/// The content of the setup guide: draws a `WelcomeState` and says what was clicked.
///
/// Return presses 「完成」, Escape 「稍後再說」, whichever of the two is there; a key that is held
/// down presses neither. A control that goes leaves the focus to the panel, never to another one.
class WelcomePanel final : public QWidget {
    Q_OBJECT

  public:
    explicit WelcomePanel(QWidget* parent = nullptr);

    void show(const WelcomeState& state);
    using QWidget::show;

  Q_SIGNALS:
    void takeOverClicked();
    void retryClicked();
    void installClicked();
    void recheckClicked();
    void skipClicked();
    void setUpClicked();
    void testClicked();
    void launchAtLoginChosen(bool on);
    void finishClicked();

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    /// One step: its badge and title, and what is in it.
    struct Block {
        WelcomeState::Step step;
        QFrame* divider;
        QWidget* widget;
        StepBadge* badge;
        QLabel* title;
        QLabel* optional;
        QWidget* content;
    };

    /// What stops everything.
    struct Problem {
        QFrame* box = nullptr;
        IconLabel* warning = nullptr;
        IconLabel* question = nullptr;
        TextBlock* title = nullptr;
        ParagraphLabel* text = nullptr;
        QPushButton* button = nullptr;
    };

    void addProblem();
    void addBlock(WelcomeState::Step step);
    void addHooks(QVBoxLayout* column, QWidget* content);
    void addCodex(QVBoxLayout* column, QWidget* content);
    void addPair(QVBoxLayout* column, QWidget* content);
    void addPairingWords(QVBoxLayout* column, QWidget* parent);
    void addTest(QVBoxLayout* column, QWidget* content);
    void addLogin(QVBoxLayout* column, QWidget* content);
    void addFooter();
    void showProblem(const WelcomeState& state);
    void showBlock(const Block& block, const WelcomeState& state);
    void showPair(const WelcomeState::PairStep& state);
    void showFinishButton(const WelcomeState& state);

    std::optional<WelcomeState> m_state;
    QVBoxLayout* m_parts;
    Problem m_problem;
    QVBoxLayout* m_steps;
    std::vector<Block> m_blocks;
    ParagraphLabel* m_hooksText = nullptr;
    QPushButton* m_install = nullptr;
    ParagraphLabel* m_hooksNote = nullptr;
    ParagraphLabel* m_codexText = nullptr;
    QPushButton* m_recheck = nullptr;
    QLabel* m_codexResult = nullptr;
    QWidget* m_pairing = nullptr; ///< once it is set up
    Spinner* m_codeSpinner = nullptr;
    PairingQR* m_code = nullptr;
    QLabel* m_pairWaiting = nullptr;
    QWidget* m_pairSetUp = nullptr; ///< before
    QPushButton* m_setUp = nullptr;
    QPushButton* m_test = nullptr;
    ParagraphLabel* m_testResult = nullptr;
    Switch* m_launchAtLogin = nullptr;
    ParagraphLabel* m_idleText = nullptr;
    TextBlock* m_error = nullptr;
    QPushButton* m_finish = nullptr;
};
