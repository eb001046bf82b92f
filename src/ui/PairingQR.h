#pragma once

#include <optional>

#include <QLabel>
#include <QString>

#include "platform/QRCode.h"

/// A pairing link as a QR code on a white plate, in both themes: cameras expect dark on light. A
/// module is a whole number of the screen's pixels, so that its edges are sharp.
class PairingQR final : public QLabel {
    Q_OBJECT

  public:
    /// @param size of the square that the code is centred in, without the plate's rim
    explicit PairingQR(int size, QWidget* parent = nullptr);

    /// Of a link that no code can be made of, nothing is shown, and that takes no room.
    void setLink(const QString& link);

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    void drawCode(QPainter& painter) const;

    int m_size;
    QString m_link;
    std::optional<qr::Code> m_code;
};
