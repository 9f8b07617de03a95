#pragma once

#include <QWidget>

#include <optional>

class QLabel;
class QPushButton;

namespace fetra {

class AppModel;
class SymbolLabel;
class ToneLabel;

/// What stands where a list would be, when there is nothing to list: why that is, and what to do about it.
class EmptyState final : public QWidget {
    Q_OBJECT

public:
    struct Content {
        QString symbol;
        QString title;
        QString text;
        /// On the button; without one when empty.
        QString action{};

        bool operator==(const Content&) const = default;
    };

    explicit EmptyState(QWidget* parent = nullptr);

    void setContent(const Content& content);

    /// Why the model's list shows no download; nothing while it shows some.
    [[nodiscard]] static std::optional<Content> contentFor(AppModel& model);

Q_SIGNALS:
    /// The user has pressed the button.
    void actionTriggered();

private:
    Content content_;
    SymbolLabel* symbol_;
    QLabel* title_;
    ToneLabel* text_;
    QPushButton* action_;
};

} // namespace fetra
