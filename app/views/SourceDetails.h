#pragma once

#include "app/model/AppModel.h"

#include <QWidget>

class QLabel;
class QToolButton;
class QVBoxLayout;

namespace fetra {

class ToneLabel;
class ValueText;

/// The addresses and the place of one download, what went wrong with it, and what it is checked against.
class SourceDetails final : public QWidget {
    Q_OBJECT

public:
    explicit SourceDetails(AppModel& model, QWidget* parent = nullptr);

    void refresh(const AppModel::Item& item);

private:
    struct Part {
        QWidget* whole;
        ToneLabel* label;
        ValueText* value;
    };
    struct Action {
        QString symbol;
        QString title;
        std::function<void()> perform;
    };

    Part addPart(const QString& label, const Action& action = {});
    /// Hidden while `value` is empty.
    static void setValue(const Part& part, const QString& value);

    AppModel& model_;
    AppModel::Item item_;
    QVBoxLayout* const parts_;
    const Part source_;
    const Part mirrors_;
    const Part destination_;
    const Part error_;
    const Part digest_;
};

} // namespace fetra
