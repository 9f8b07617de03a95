#include "app/views/EmptyState.h"

#include "app/model/AppModel.h"
#include "app/model/PlatformText.h"
#include "app/views/SymbolLabel.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int symbolSide = 48;
constexpr int widestText = 320;
constexpr qreal titleScale = 1.35;

} // namespace

EmptyState::EmptyState(QWidget* parent)
    : QWidget(parent)
    , symbol_(new SymbolLabel(QString(), symbolSide, SymbolLabel::Color::secondary, this))
    , title_(new QLabel(this))
    , text_(new ToneLabel(ToneLabel::Tone::secondary, this))
    , action_(new QPushButton(this)) {
    title_->setFont(Theme::scaled(Theme::bold(title_->font()), titleScale));
    title_->setTextFormat(Qt::PlainText);
    title_->setWordWrap(true);
    title_->setAlignment(Qt::AlignCenter);
    text_->setAlignment(Qt::AlignCenter);
    action_->hide();
    connect(action_, &QPushButton::clicked, this, &EmptyState::actionTriggered);

    auto* column = new QWidget(this);
    column->setMaximumWidth(widestText);
    auto* lines = new QVBoxLayout(column);
    lines->setContentsMargins(0, 0, 0, 0);
    lines->setSpacing(Theme::gap);
    lines->addWidget(symbol_, 0, Qt::AlignHCenter);
    lines->addSpacing(Theme::tight);
    lines->addWidget(title_);
    lines->addWidget(text_);
    lines->addSpacing(Theme::tight);
    lines->addWidget(action_, 0, Qt::AlignHCenter);

    // A little above the middle looks like the middle.
    auto* rows = new QVBoxLayout(this);
    rows->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    rows->addStretch(2);
    auto* middle = new QHBoxLayout;
    middle->addStretch(1);
    middle->addWidget(column, 100);
    middle->addStretch(1);
    rows->addLayout(middle);
    rows->addStretch(3);
}

void EmptyState::setContent(const Content& content) {
    if (content_ == content)
        return;
    content_ = content;
    symbol_->setName(content.symbol);
    title_->setText(content.title);
    text_->setText(content.text);
    action_->setText(content.action);
    action_->setHidden(content.action.isEmpty());
}

std::optional<EmptyState::Content> EmptyState::contentFor(AppModel& model) {
    if (model.manager().items().isEmpty())
        return Content{
            .symbol = u"arrow.down.circle"_s,
            .title = tr("No Downloads Yet"),
            .text =
                platformText(tr("Paste a link or magnet with Cmd-N, drop files here, or open a .torrent.")),
            .action = tr("Add Links"),
        };
    if (!model.filteredItems().isEmpty())
        return std::nullopt;
    const QString search = model.search().trimmed();
    const DownloadFilter filter = model.filter().value_or(DownloadFilter::all);
    return Content{
        .symbol = search.isEmpty() ? filter.symbol() : u"magnifyingglass"_s,
        .title = tr("No Results for “%1”").arg(search.isEmpty() ? filter.title() : search),
        .text = search.isEmpty() ? tr("No download matches this filter at the moment.")
                                 : tr("Check the spelling or try a new search."),
    };
}

} // namespace fetra
