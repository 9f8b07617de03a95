#include "app/views/ClipboardBanner.h"

#include "app/model/AppModel.h"
#include "app/views/ItemPainting.h"
#include "app/views/SymbolLabel.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"
#include "system/AbsoluteURL.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QVariantAnimation>

#include <cmath>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int slideMilliseconds = 180;
constexpr int symbolSide = 22;

} // namespace

ClipboardBanner::ClipboardBanner(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , content_(new QWidget(this))
    , detail_(new ToneLabel(ToneLabel::Tone::secondary, content_))
    , motion_(new QVariantAnimation(this)) {
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    auto* title = new QLabel(tr("Links found on the clipboard"), content_);
    title->setFont(Theme::bold(title->font()));
    detail_->setWordWrap(false);
    auto* reviewButton = new QPushButton(tr("Review"), content_);
    auto* dismissButton = new QPushButton(tr("Dismiss"), content_);
    connect(reviewButton, &QPushButton::clicked, this, &ClipboardBanner::review);
    connect(dismissButton, &QPushButton::clicked, this, [this] { model_.clipboard().clear(); });

    auto* row = new QHBoxLayout(content_);
    row->setContentsMargins(Theme::wide, Theme::gap, Theme::wide, Theme::gap);
    row->setSpacing(Theme::gap);
    row->addWidget(new SymbolLabel(u"doc.on.clipboard"_s, symbolSide, SymbolLabel::Color::accent, content_));
    row->addSpacing(Theme::tight);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(title);
    texts->addWidget(detail_);
    row->addLayout(texts, 1);
    row->addWidget(reviewButton);
    row->addWidget(dismissButton);

    motion_->setDuration(slideMilliseconds);
    motion_->setEasingCurve(QEasingCurve::OutCubic);
    connect(motion_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
        share_ = value.toReal();
        updateGeometry();
    });
    connect(motion_, &QVariantAnimation::finished, this, [this] { setVisible(isOffering_); });

    hide();
    connect(&model_.clipboard(), &ClipboardWatcher::changed, this, &ClipboardBanner::refresh);
    refresh();
}

QSize ClipboardBanner::sizeHint() const {
    const QSize whole = content_->sizeHint();
    return {whole.width(), static_cast<int>(std::lround(whole.height() * share_))};
}

void ClipboardBanner::refresh() {
    const bool isOffering = !model_.clipboard().links().isEmpty();
    // While it goes, it says what it has said.
    if (isOffering)
        detail_->setText(model_.clipboard().detail());
    if (isOffering != isOffering_)
        slide(isOffering);
}

void ClipboardBanner::slide(bool in) {
    isOffering_ = in;
    content_->setEnabled(in);
    const bool isSeen = parentWidget() && parentWidget()->isVisible();
    motion_->stop();
    if (!isSeen || ItemPainting::wantsReducedMotion()) {
        share_ = in ? 1 : 0;
        updateGeometry();
        setVisible(in);
        return;
    }
    motion_->setStartValue(share_);
    motion_->setEndValue(in ? 1.0 : 0.0);
    if (in)
        show();
    motion_->start();
}

/// Its lower edge shows first, like that of a drawer.
void ClipboardBanner::resizeEvent(QResizeEvent*) {
    const int whole = content_->sizeHint().height();
    content_->setGeometry(0, height() - whole, width(), whole);
}

void ClipboardBanner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), Theme::statusFill(DownloadStatus::downloading, palette()));
    painter.fillRect(0, height() - 1, width(), 1, Theme::separator(palette()));
}

void ClipboardBanner::review() {
    if (model_.isTerminating() || model_.grabber())
        return;
    QStringList links;
    for (const QUrl& link : model_.clipboard().links())
        links.append(absoluteString(link));
    model_.showGrabber(links.join(u'\n'));
    model_.clipboard().clear();
}

} // namespace fetra
