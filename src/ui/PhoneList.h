#pragma once

#include <vector>

#include <QScrollArea>
#include <QVBoxLayout>

#include "ui/PairState.h"

/// The paired phones, each with whether it is online and a button that removes it. It scrolls
/// after five.
class PhoneList final : public QScrollArea {
    Q_OBJECT

  public:
    /// @param margin on both sides of the rows, which the scroll bar is in
    explicit PhoneList(int margin, QWidget* parent = nullptr);
    ~PhoneList() override;

    /// A phone that stays keeps its row, and the focus that is on it.
    void show(const std::vector<PairState::Phone>& phones);
    using QScrollArea::show;

  Q_SIGNALS:
    void removeClicked(const QString& id);

  private:
    class Row;

    QVBoxLayout* m_column;
    int m_margin;
    std::vector<Row*> m_rows; // As they stand.
};
