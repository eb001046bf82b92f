#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QProgressBar>

/// A thin bar: how much is done, or a piece that runs along while nobody knows (`minimum` and
/// `maximum` are 0). It stands still where the desktop wants no animations, and costs nothing while
/// it is hidden.
class ProgressBar final : public QProgressBar {
    Q_OBJECT

  public:
    explicit ProgressBar(QWidget* parent);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

  private:
    [[nodiscard]] bool isBusy() const { return minimum() == maximum(); }

    QBasicTimer m_frames;
    QElapsedTimer m_since; ///< it runs along
};
