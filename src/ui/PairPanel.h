#pragma once

#include <optional>

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>

#include "ui/CommandBox.h"
#include "ui/Confirmation.h"
#include "ui/ElidingLabel.h"
#include "ui/PairState.h"
#include "ui/PairingQR.h"
#include "ui/ParagraphLabel.h"
#include "ui/PhoneList.h"
#include "ui/TextField.h"

/// The content of the pairing window: draws a `PairState` and says what was clicked.
class PairPanel final : public QWidget {
    Q_OBJECT

  public:
    explicit PairPanel(QWidget* parent = nullptr);

    /// The confirmation, if there is one, lies over the whole window.
    void show(const PairState& state);
    using QWidget::show;
    /// What stands in the field of the form.
    void setRelayURL(const QString& url);

  Q_SIGNALS:
    void urlChanged(const QString& url);
    void createClicked();
    void newCodeClicked();
    void revealToggled();
    void copyClicked();
    void testPushClicked();
    void removeClicked(const QString& id);
    void resetClicked();
    void confirmed();
    void confirmationDismissed();

  private:
    [[nodiscard]] QWidget* madeForm();
    [[nodiscard]] QWidget* madeCode();
    [[nodiscard]] QWidget* madePlaceholder();
    [[nodiscard]] QLayout* madePhones();
    [[nodiscard]] QLayout* madeFooter();
    void showCode(const PairState& state);
    void showPhones(const PairState& state);
    void showConfirmation(const PairState& state);

    std::optional<PairState> m_state;
    QWidget* m_form = nullptr;
    ParagraphLabel* m_earlierPairing = nullptr;
    TextField* m_field = nullptr;
    QPushButton* m_create = nullptr;
    QWidget* m_pairing = nullptr;
    QWidget* m_code = nullptr;
    PairingQR* m_qr = nullptr;
    QLabel* m_countdown = nullptr;
    CommandBox* m_link = nullptr;
    QPushButton* m_reveal = nullptr;
    QWidget* m_placeholder = nullptr;
    QLabel* m_waiting = nullptr;
    QPushButton* m_testPush = nullptr;
    QLabel* m_noPhones = nullptr;
    PhoneList* m_phones = nullptr;
    ParagraphLabel* m_testResult = nullptr;
    ElidingLabel* m_relayURL = nullptr;
    Confirmation* m_confirmation = nullptr; // Of the window; made when first needed.
};
