#pragma once

#include "app/model/InspectorFacts.h"

#include <QWidget>

#include <vector>

class QGridLayout;
class QLabel;

namespace fetra {

class ToneLabel;

/// Labels on the left, values on the right where they can be selected.
class FactTable final : public QWidget {
    Q_OBJECT

public:
    explicit FactTable(QWidget* parent = nullptr);

    /// Touches only what differs.
    void setFacts(const QList<InspectorFacts::Fact>& facts);

private:
    struct Row {
        ToneLabel* label;
        QLabel* value;
        InspectorFacts::Fact shown{};
    };

    void addRow();

    QGridLayout* const grid_;
    std::vector<Row> rows_;
};

} // namespace fetra
