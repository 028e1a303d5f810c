#include "ui/common/Globe.h"

#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QPointF>
#include <QPolygonF>
#include <QRadialGradient>

#include <cmath>
#include <map>
#include <numbers>
#include <utility>
#include <vector>

namespace paramcor::ui {
namespace {

constexpr double kDegree = std::numbers::pi / 180.0;
constexpr double kTilt = 20 * kDegree;  // the north pole leans towards the viewer

// Coarse coastlines, longitude and latitude in degrees: enough to be recognised
// at the size of an icon.
const std::vector<QPolygonF>& landMasses() {
    static const std::vector<QPolygonF> lands = {
        // Africa
        {{-17, 21},
         {-10, 35},
         {10, 37},
         {32, 31},
         {43, 12},
         {51, 12},
         {40, -15},
         {35, -25},
         {20, -35},
         {12, -17},
         {9, 4},
         {-8, 5},
         {-17, 14}},
        // Europe
        {{-10, 36},
         {-9, 43},
         {-2, 48},
         {5, 52},
         {10, 58},
         {20, 70},
         {30, 70},
         {40, 65},
         {40, 45},
         {28, 41},
         {20, 40},
         {12, 44},
         {3, 42}},
        // Asia
        {{40, 45},
         {40, 65},
         {70, 73},
         {110, 77},
         {140, 72},
         {180, 68},
         {160, 60},
         {140, 50},
         {130, 35},
         {120, 22},
         {105, 10},
         {100, 2},
         {95, 15},
         {80, 8},
         {73, 20},
         {60, 25},
         {50, 30},
         {35, 35}},
        // North America
        {{-168, 66},
         {-140, 70},
         {-95, 75},
         {-80, 68},
         {-60, 55},
         {-52, 47},
         {-70, 42},
         {-80, 30},
         {-82, 25},
         {-97, 20},
         {-88, 15},
         {-78, 8},
         {-90, 14},
         {-105, 22},
         {-117, 32},
         {-125, 42},
         {-125, 50},
         {-140, 60},
         {-160, 58}},
        // South America
        {{-78, 8},
         {-60, 10},
         {-50, 0},
         {-35, -7},
         {-40, -22},
         {-58, -38},
         {-65, -55},
         {-75, -50},
         {-72, -18},
         {-81, -5}},
        // Australia
        {{114, -22}, {130, -12}, {142, -11}, {153, -27}, {146, -39}, {135, -35}, {115, -34}},
        // Greenland
        {{-45, 60}, {-20, 70}, {-20, 82}, {-60, 82}, {-70, 76}, {-55, 68}},
    };
    return lands;
}

bool isLand(double longitude, double latitude) {
    if (latitude < -70)
        return true;  // Antarctica
    static const std::vector<QRectF> bounds = [] {
        std::vector<QRectF> rects;
        for (const QPolygonF& land : landMasses())
            rects.push_back(land.boundingRect());
        return rects;
    }();
    const QPointF point(longitude, latitude);
    for (std::size_t i = 0; i < bounds.size(); ++i)
        if (bounds[i].contains(point) && landMasses()[i].containsPoint(point, Qt::OddEvenFill))
            return true;
    return false;
}

// Orthographic view centred on (centre, kTilt): the point on the disc of radius
// 1, and whether it faces the viewer.
std::pair<QPointF, bool> project(double longitude, double latitude, double centre) {
    const double dl = longitude - centre;
    const double x = std::cos(latitude) * std::sin(dl);
    const double y = std::cos(kTilt) * std::sin(latitude) - std::sin(kTilt) * std::cos(latitude) * std::cos(dl);
    const double facing = std::sin(kTilt) * std::sin(latitude) + std::cos(kTilt) * std::cos(latitude) * std::cos(dl);
    return {QPointF(x, -y), facing > 0};
}

// Seas and lands, lit from the upper left, one pixel at a time.
QImage surface(int size, double centre) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    const double radius = size / 2.0;
    const double lx = -0.45, ly = 0.55, lz = 0.70;  // towards the light, unit length
    for (int row = 0; row < size; ++row) {
        for (int column = 0; column < size; ++column) {
            const double px = (column + 0.5 - radius) / radius;
            const double py = (radius - row - 0.5) / radius;
            const double rho = std::hypot(px, py);
            if (rho > 1.0)
                continue;
            const double pz = std::sqrt(1.0 - rho * rho);
            const double light = 0.35 + 0.65 * std::max(0.0, px * lx + py * ly + pz * lz);
            double latitude = kTilt;
            double longitude = centre;
            if (rho > 0) {
                const double c = std::asin(rho);
                latitude = std::asin(std::cos(c) * std::sin(kTilt) + py * std::sin(c) * std::cos(kTilt) / rho);
                longitude = centre + std::atan2(px * std::sin(c), rho * std::cos(c) * std::cos(kTilt) -
                                                                      py * std::sin(c) * std::sin(kTilt));
            }
            const double degrees = std::remainder(longitude / kDegree, 360.0);
            const bool land = isLand(degrees, latitude / kDegree);
            const QColor base = land ? QColor(0x4c, 0x9a, 0x3c) : QColor(0x2a, 0x6f, 0xc9);
            image.setPixelColor(
                column, row,
                QColor::fromRgbF(static_cast<float>(base.redF() * light), static_cast<float>(base.greenF() * light),
                                 static_cast<float>(base.blueF() * light)));
        }
    }
    return image;
}

void drawGrid(QPainter& painter, double radius, double centre) {
    painter.setPen(QPen(QColor(255, 255, 255, 70), radius / 40.0));
    auto drawLine = [&](auto pointAt, int steps) {
        QPainterPath path;
        bool drawing = false;
        for (int i = 0; i <= steps; ++i) {
            const auto [point, visible] = pointAt(i);
            const QPointF at(radius + point.x() * radius, radius + point.y() * radius);
            if (!visible) {
                drawing = false;
            } else if (!drawing) {
                path.moveTo(at);
                drawing = true;
            } else {
                path.lineTo(at);
            }
        }
        painter.drawPath(path);
    };
    for (int meridian = -180; meridian < 180; meridian += 30)
        drawLine([&](int i) { return project(meridian * kDegree, (-90 + i * 3) * kDegree, centre); }, 60);
    for (int parallel = -60; parallel <= 60; parallel += 30)
        drawLine([&](int i) { return project((-180 + i * 3) * kDegree, parallel * kDegree, centre); }, 120);
}

QImage drawFrame(int frame, int size) {
    // Drawn twice as large and reduced, for smooth edges.
    const int large = size * 2;
    const double radius = large / 2.0;
    const double centre = (frame - 1) * (360.0 / kGlobeFrames) * kDegree;
    QImage image = surface(large, centre);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        drawGrid(painter, radius, centre);
        QRadialGradient shine(QPointF(radius * 0.65, radius * 0.55), radius * 0.6);
        shine.setColorAt(0, QColor(255, 255, 255, 90));
        shine.setColorAt(1, QColor(255, 255, 255, 0));
        painter.setPen(Qt::NoPen);
        painter.setBrush(shine);
        painter.drawEllipse(QPointF(radius, radius), radius - 1, radius - 1);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(QColor(0x10, 0x30, 0x60), large / 48.0));
        painter.drawEllipse(QPointF(radius, radius), radius - large / 96.0, radius - large / 96.0);
    }
    return image.scaled(size, size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

}  // namespace

// Images, not pixmaps: they may outlive the application object.
QImage globeFrame(int frame, int size) {
    static std::map<std::pair<int, int>, QImage> drawn;
    QImage& image = drawn[{frame, size}];
    if (image.isNull())
        image = drawFrame(frame, size);
    return image;
}

}  // namespace paramcor::ui
