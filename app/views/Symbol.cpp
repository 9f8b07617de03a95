#include "app/views/Symbol.h"

#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <cmath>

/// A library's resources are not there by themselves. Outside any namespace, as the macro wants it.
static void initSymbols() {
    Q_INIT_RESOURCE(symbols);
}

namespace fetra::Symbol {

using namespace Qt::StringLiterals;

namespace {

QColor colorFor(QIcon::Mode mode) {
    const QPalette palette = QGuiApplication::palette();
    switch (mode) {
    case QIcon::Disabled:
        return palette.color(QPalette::Disabled, QPalette::WindowText);
    case QIcon::Selected:
        return palette.color(QPalette::HighlightedText);
    case QIcon::Normal:
    case QIcon::Active:
        break;
    }
    return palette.color(QPalette::WindowText);
}

class Engine final : public QIconEngine {
public:
    explicit Engine(const QString& name)
        : name_(name) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
        const int side = std::min(rect.width(), rect.height());
        const QPoint corner = rect.center() - QPoint((side - 1) / 2, (side - 1) / 2);
        painter->drawPixmap(
            corner, Symbol::pixmap(name_, side, colorFor(mode), painter->device()->devicePixelRatioF()));
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override {
        return Symbol::pixmap(name_, std::min(size.width(), size.height()), colorFor(mode), 1);
    }
    [[nodiscard]] QIconEngine* clone() const override { return new Engine(name_); }

private:
    const QString name_;
};

QByteArray drawing(const QString& name, const QColor& color) {
    initSymbols();
    QFile file(u":/symbols/%1.svg"_s.arg(name));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll().replace("currentColor", color.name().toLatin1());
}

} // namespace

QIcon icon(const QString& name) {
    return QIcon(new Engine(name));
}

QPixmap pixmap(const QString& name, int size, const QColor& color, qreal devicePixelRatio) {
    const QString key =
        u"symbol %1 %2 %3 %4"_s.arg(name).arg(size).arg(color.rgba(), 8, 16).arg(devicePixelRatio);
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    const int side = static_cast<int>(std::lround(size * devicePixelRatio));
    pixmap = QPixmap(side, side);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(drawing(name, color));
    QPainter painter(&pixmap);
    painter.setOpacity(color.alphaF());
    renderer.render(&painter, QRectF(0, 0, side, side));
    painter.end();
    pixmap.setDevicePixelRatio(devicePixelRatio);
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

} // namespace fetra::Symbol
