#include "app/views/MenuBarContent.h"

#include "app/desktop/Windows.h"
#include "app/views/ActiveDownloadDelegate.h"
#include "app/views/ActiveDownloadsModel.h"
#include "app/views/EmptyState.h"
#include "app/views/FittingListView.h"
#include "app/views/RefreshPace.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"
#include "transfer/ByteFormat.h"

#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QScopedValueRollback>
#include <QVBoxLayout>

namespace fetra {

using namespace Qt::StringLiterals;
using Command = DownloadCommands::Command;

namespace {

constexpr int panelWidth = 310;
/// Milliseconds from the press to what it leads to.
constexpr qint64 oneClick = 250;
constexpr int mostRows = 6;

} // namespace

MenuBarContent::MenuBarContent(AppModel& model, DownloadCommands& commands, std::function<void()> quit,
                               QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint)
    , model_(model)
    , commands_(commands)
    , title_(new QLabel(u"Fetra"_s, this))
    , count_(new ToneLabel(ToneLabel::Tone::secondary, this))
    , nothing_(new EmptyState(this))
    , active_(new ActiveDownloadsModel(this))
    , list_(new FittingListView(mostRows, this))
    , pauseAll_(addCommand(Command::pauseAll))
    , resumeAll_(addCommand(Command::resumeAll))
    , rate_(new QLabel(this))
    , pace_(new RefreshPace(*this, [this] { refresh(); })) {
    setAccessibleName(u"Fetra"_s);
    title_->setFont(Theme::bold(font()));
    count_->setWordWrap(false);
    nothing_->setContent({.symbol = u"arrow.down.circle"_s, .title = tr("No active downloads"), .text = {}});
    list_->setItemDelegate(new ActiveDownloadDelegate(list_));
    list_->setModel(active_);
    list_->setAccessibleName(tr("Active downloads"));
    rate_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layOut(addWindowButton(tr("Open Fetra"), [this] { model_.desktop().windows.openMain(); }),
           addWindowButton(tr("Quit"), std::move(quit)));
    follow();
    pace_->request();
}

QPushButton* MenuBarContent::addCommand(Command command) {
    auto* const button = new QPushButton(commands_.toolbarTitle(command), this);
    connect(button, &QPushButton::clicked, this, [this, command] { commands_.row(command).perform(); });
    return button;
}

/// Of a command that leads away from the panel.
QPushButton* MenuBarContent::addWindowButton(const QString& title, std::function<void()> perform) {
    auto* const button = new QPushButton(title, this);
    connect(button, &QPushButton::clicked, this, [this, perform = std::move(perform)] {
        hide();
        perform();
    });
    return button;
}

void MenuBarContent::layOut(QPushButton* open, QPushButton* quit) {
    auto* const header = new QHBoxLayout;
    header->addWidget(title_, 1);
    header->addWidget(count_);
    auto* const all = new QHBoxLayout;
    all->setSpacing(Theme::gap);
    all->addWidget(pauseAll_);
    all->addWidget(resumeAll_);
    all->addWidget(rate_, 1);
    auto* const layout = new QVBoxLayout(this);
    layout->setContentsMargins(Theme::wide, Theme::wide, Theme::wide, Theme::wide);
    layout->setSpacing(Theme::gap);
    // The panel grows and shrinks with its list.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addStrut(panelWidth - 2 * Theme::wide);
    layout->addLayout(header);
    layout->addWidget(nothing_);
    layout->addWidget(list_);
    layout->addLayout(all);
    layout->addSpacing(Theme::tight);
    layout->addWidget(open);
    layout->addWidget(quit);
    open->setFocus();
}

void MenuBarContent::follow() {
    const auto request = [this] { pace_->request(); };
    connect(&commands_, &DownloadCommands::changed, this, request);
    connect(&model_.manager(), &DownloadManager::changed, this, request);
    connect(&model_.list(), &ListWatch::itemChanged, this, request);
}

void MenuBarContent::refresh() {
    const DownloadManager& manager = model_.manager();
    active_->refresh(manager);
    const int count = active_->rowCount();
    count_->setText(count == 0 ? QString() : tr("%1 active").arg(count));
    nothing_->setVisible(count == 0);
    list_->setVisible(count > 0);
    pauseAll_->setEnabled(commands_.row(Command::pauseAll).isEnabled());
    resumeAll_->setEnabled(commands_.row(Command::resumeAll).isEnabled());
    rate_->setText(ByteFormat::rate(manager.totalBytesPerSecond()));
}

void MenuBarContent::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(Theme::separator(palette()));
    painter.drawRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
}

void MenuBarContent::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape)
        hide();
    else
        QWidget::keyPressEvent(event);
}

void MenuBarContent::setVisible(bool visible) {
    const QScopedValueRollback hiding(isHiding_, !visible);
    QWidget::setVisible(visible);
}

bool MenuBarContent::wasLeftJustNow() const {
    return sinceLeft_.isValid() && sinceLeft_.elapsed() < oneClick;
}

bool MenuBarContent::event(QEvent* event) {
    if (event->type() == QEvent::WindowDeactivate && !isHiding_) {
        sinceLeft_.start();
        hide();
    }
    return QWidget::event(event);
}

} // namespace fetra
