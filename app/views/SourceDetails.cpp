#include "app/views/SourceDetails.h"

#include "app/model/PlatformText.h"
#include "app/views/Symbol.h"
#include "app/views/Theme.h"
#include "app/views/ToneLabel.h"
#include "app/views/ValueText.h"

#include <QToolButton>
#include <QVBoxLayout>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// Room for usual addresses, so that texts seldom scroll inside the pane, which scrolls itself.
constexpr int mostLines = 20;

QString addressText(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

} // namespace

SourceDetails::SourceDetails(AppModel& model, QWidget* parent)
    : QWidget(parent)
    , model_(model)
    , parts_(new QVBoxLayout(this))
    , source_(addPart(tr("Source URL"), {.symbol = u"doc.on.doc"_s,
                                         .title = tr("Copy source URL"),
                                         .perform = [this] { model_.copy({addressText(item_->url())}); }}))
    , mirrors_(addPart(tr("Mirrors")))
    , destination_(addPart(tr("Destination"), {.symbol = u"folder"_s,
                                               .title = platformText(tr("Reveal destination in Finder")),
                                               .perform = [this] { model_.reveal({item_}); }}))
    , error_(addPart(tr("Error")))
    , digest_(addPart(tr("Expected SHA-256"))) {
    parts_->setContentsMargins(0, 0, 0, 0);
    parts_->setSpacing(Theme::gap);
    error_.label->setTone(ToneLabel::Tone::failed);
}

SourceDetails::Part SourceDetails::addPart(const QString& label, const Action& action) {
    auto* const whole = new QWidget(this);
    auto* const heading = new ToneLabel(ToneLabel::Tone::secondary, whole);
    heading->setText(label);
    auto* const value = new ValueText(mostLines, whole);
    value->setAccessibleName(label);
    auto* const lines = new QVBoxLayout;
    lines->setSpacing(0);
    lines->addWidget(heading);
    lines->addWidget(value);
    auto* const layout = new QHBoxLayout(whole);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(Theme::gap);
    layout->addLayout(lines, 1);
    if (action.perform) {
        auto* const button = new QToolButton(whole);
        button->setIcon(Symbol::icon(action.symbol));
        button->setToolTip(action.title);
        button->setAccessibleName(action.title);
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::StrongFocus);
        connect(button, &QToolButton::clicked, this, action.perform);
        layout->addWidget(button, 0, Qt::AlignTop);
    }
    parts_->addWidget(whole);
    return {.whole = whole, .label = heading, .value = value};
}

void SourceDetails::setValue(const Part& part, const QString& value) {
    part.value->setValue(value);
    part.whole->setHidden(value.isEmpty());
}

void SourceDetails::refresh(const AppModel::Item& item) {
    item_ = item;
    setValue(source_, addressText(item->url()));
    QStringList mirrors;
    for (const QUrl& mirror : item->mirrors())
        mirrors.append(addressText(mirror));
    setValue(mirrors_, mirrors.join(u'\n'));
    mirrors_.label->setText(tr("Mirrors (%1)").arg(mirrors.size()));
    setValue(destination_, item->destination().value_or(item->directory()).toLocalFile());
    const bool hasFailed = item->status() == DownloadStatus::failed;
    setValue(error_, hasFailed ? item->errorMessage().value_or(QString()) : QString());
    setValue(digest_, item->expectedSHA256().value_or(QString()));
}

} // namespace fetra
