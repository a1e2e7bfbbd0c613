// Renders the program's mark (an SVG) into the PNGs of a macOS icon set:
//
//   RenderIcon MARK.svg FOLDER.iconset
//
// writes icon_16x16.png, icon_16x16@2x.png, ... icon_512x512@2x.png, every size a Mac shows an
// application icon in, from 16 to 1024 pixels. iconutil (on a Mac) or png2icns (elsewhere)
// packs them into the bundle's .icns.

#include <QDir>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: RenderIcon MARK.svg FOLDER.iconset\n");
        return 2;
    }
    QSvgRenderer mark(QString::fromLocal8Bit(argv[1]));
    if (!mark.isValid()) {
        std::fprintf(stderr, "RenderIcon: %s is no SVG image\n", argv[1]);
        return 1;
    }
    const QString folder = QString::fromLocal8Bit(argv[2]);
    if (!QDir().mkpath(folder))
        return 1;
    for (const int points : {16, 32, 128, 256, 512}) {
        for (const int scale : {1, 2}) {
            const int pixels = points * scale;
            QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            mark.render(&painter, QRectF(0, 0, pixels, pixels));
            painter.end();
            const QString name = QStringLiteral("%1/icon_%2x%2%3.png")
                                     .arg(folder)
                                     .arg(points)
                                     .arg(scale == 2 ? QStringLiteral("@2x") : QString());
            if (!image.save(name, "PNG")) {
                std::fprintf(stderr, "RenderIcon: cannot write %s\n", qPrintable(name));
                return 1;
            }
        }
    }
    return 0;
}
