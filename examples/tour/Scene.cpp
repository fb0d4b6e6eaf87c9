#include "Scene.h"

#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <algorithm>
#include <cmath>
#include <new>

namespace tour {

namespace {

/// A value in 0..1 that is fixed for every integer.
double hash(int n)
{
    quint32 x = quint32(n) * 747796405u + 2891336453u;
    x = ((x >> ((x >> 28) + 4)) ^ x) * 277803737u;
    return double((x >> 22) ^ x) / 4294967296.0;
}

/// Smooth noise in 0..1 along a line, a sum of octaves.
double noise(double x, int seed)
{
    double sum = 0, weight = 0.5;
    for (int octave = 0; octave < 6; ++octave, x *= 2.03, weight *= 0.5) {
        const int cell = int(std::floor(x));
        const double t = x - cell, s = t * t * (3 - 2 * t);
        sum += weight
            * (hash(cell + seed * 7919 + octave * 131) * (1 - s) + hash(cell + 1 + seed * 7919 + octave * 131) * s);
    }
    return sum;
}

void drawSky(QPainter &painter, double w, double horizon)
{
    QLinearGradient sky(0, 0, 0, horizon);
    sky.setColorAt(0.00, QColor(22, 30, 72));
    sky.setColorAt(0.35, QColor(78, 66, 130));
    sky.setColorAt(0.62, QColor(196, 104, 138));
    sky.setColorAt(0.84, QColor(246, 164, 112));
    sky.setColorAt(1.00, QColor(255, 226, 170));
    painter.fillRect(QRectF(0, 0, w, horizon + 1), sky);

    for (int i = 0; i < 90; ++i) {
        const double y = hash(i * 3 + 1) * horizon * 0.5, r = horizon * (0.0007 + 0.0016 * hash(i * 3 + 2));
        painter.setBrush(QColor(255, 250, 235, int(190 * (1 - y / (horizon * 0.5)))));
        painter.drawEllipse(QPointF(hash(i * 3) * w, y), r, r);
    }

    const QPointF sun(w * 0.64, horizon * 0.80);
    QRadialGradient glow(sun, w * 0.36);
    glow.setColorAt(0.00, QColor(255, 246, 214, 255));
    glow.setColorAt(0.09, QColor(255, 240, 196, 250));
    glow.setColorAt(0.11, QColor(255, 222, 158, 150));
    glow.setColorAt(0.40, QColor(255, 186, 128, 50));
    glow.setColorAt(1.00, QColor(255, 170, 120, 0));
    painter.setBrush(glow);
    painter.drawRect(QRectF(0, 0, w, horizon + 1));

    for (int i = 0; i < 26; ++i) { // clouds: long soft streaks, warm below
        const double y = horizon * (0.16 + 0.62 * hash(900 + i)), x = w * (hash(930 + i) * 1.2 - 0.1);
        const double rx = w * (0.08 + 0.17 * hash(960 + i)), ry = horizon * (0.008 + 0.016 * hash(990 + i));
        painter.save();
        painter.translate(x, y);
        painter.scale(1, ry / rx);
        QRadialGradient cloud(QPointF(0, 0), rx);
        const int warm = int(170 + 70 * y / horizon);
        cloud.setColorAt(0, QColor(255, warm, int(warm * 0.80), 105));
        cloud.setColorAt(1, QColor(255, warm, int(warm * 0.86), 0));
        painter.setBrush(cloud);
        painter.drawEllipse(QPointF(0, 0), rx, rx);
        painter.restore();
    }
}

void drawRidges(QPainter &painter, double w, double horizon)
{
    static const QColor colors[] = { QColor(186, 120, 140), QColor(128, 88, 128), QColor(78, 64, 106),
        QColor(40, 42, 76) };
    for (int ridge = 0; ridge < 4; ++ridge) {
        const double height = horizon * (0.50 - 0.09 * ridge), foot = horizon * (0.035 * ridge - 0.02);
        QPainterPath path(QPointF(0, horizon + 1));
        for (double x = 0; x <= w + 2; x += std::max(1.0, w / 1200))
            path.lineTo(
                x, horizon + foot * 0.2 - height * std::pow(noise(x / w * (2.2 + ridge * 1.5), ridge + 3), 1.7));
        path.lineTo(w + 2, horizon + 1);
        QLinearGradient haze(0, horizon - height, 0, horizon);
        haze.setColorAt(0, colors[ridge]);
        haze.setColorAt(1, colors[ridge].lighter(142 - ridge * 8));
        painter.setBrush(haze);
        painter.drawPath(path);
    }
}

/// The lake mirrors what lies above it, darker and bluer, in ripples that grow towards the viewer.
void drawLake(QImage &image, int horizon)
{
    const int w = image.width(), depth = std::max(1, image.height() - horizon);
    for (int y = horizon; y < image.height(); ++y) {
        const double d = double(y - horizon) / depth;
        const double wave = 6.2831853 * std::pow(d, 0.45) * 26;
        const double lift = std::sin(wave) * (0.004 + 0.030 * d) * depth;
        const int from = std::clamp(int(horizon - (y - horizon) * 1.25 - lift), 0, std::max(0, horizon - 1));
        const QRgb *above = reinterpret_cast<const QRgb *>(image.constScanLine(from));
        QRgb *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const double sway = std::sin(wave * 1.7 + x * 14.0 / w + hash(y / 2) * 2.5) * (0.001 + 0.006 * d) * w;
            const QRgb p = above[std::clamp(int(x + sway), 0, w - 1)];
            const double dim = 0.86 - 0.42 * d;
            line[x] = qRgb(int(qRed(p) * dim), int(qGreen(p) * dim * 0.98 + 3), int(qBlue(p) * dim + 14));
        }
    }
}

void drawPine(QPainter &painter, double x, double foot, double height)
{
    QPainterPath path(QPointF(x, foot - height));
    const int steps = 11;
    for (int side = 1; side >= -1; side -= 2) {
        for (int i = 0; i < steps; ++i) {
            const int k = side > 0 ? i + 1 : steps - i;
            const double t = double(k) / steps, reach = height * 0.17 * t * (0.8 + 0.4 * hash(int(x * 13) + k * side));
            const double y = foot - height + height * t * 0.95;
            const QPointF tip(x + side * reach, y + height * 0.02), notch(x + side * reach * 0.45, y - height * 0.015);
            path.lineTo(side > 0 ? tip : notch);
            path.lineTo(side > 0 ? notch : tip);
        }
    }
    path.closeSubpath();
    painter.drawPath(path);
    painter.drawRect(QRectF(x - height * 0.012, foot - height * 0.1, height * 0.024, height * 0.12));
}

void drawShore(QPainter &painter, double w, double h, double horizon)
{
    painter.setBrush(QColor(13, 17, 34));
    for (int side = 0; side < 2; ++side) {
        const double reach = side ? 0.24 : 0.40;
        QPainterPath bank(QPointF(side ? w : 0, h));
        for (int i = 0; i <= 60; ++i) {
            const double t = i / 60.0, x = (side ? w - t * reach * w : t * reach * w);
            bank.lineTo(
                x, h - (h - horizon) * (0.62 * std::pow(1 - t, 1.4)) - h * 0.02 * noise(t * 9, 40 + side) * (1 - t));
        }
        painter.drawPath(bank);
        for (int i = 0; i < (side ? 9 : 15); ++i) {
            const double t = hash(200 + i + side * 50) * 0.72, x = side ? w - t * reach * w : t * reach * w;
            const double foot = h - (h - horizon) * (0.56 * std::pow(1 - t, 1.4));
            drawPine(painter, x, foot, h * (0.20 + 0.30 * hash(300 + i + side * 50)) * (1.05 - t * 0.75));
        }
    }
}

} // namespace

QImage drawScene(const QSize &size)
{
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull())
        throw std::bad_alloc();
    const double w = size.width(), h = size.height(), horizon = std::round(h * 0.58);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    drawSky(painter, w, horizon);
    drawRidges(painter, w, horizon);
    painter.end();
    drawLake(image, int(horizon));
    painter.begin(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    drawShore(painter, w, h, horizon);
    painter.end();
    return image.convertToFormat(QImage::Format_ARGB32);
}

} // namespace tour
