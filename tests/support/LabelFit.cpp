#include "LabelFit.h"

#include <QApplication>
#include <QLabel>
#include <QRegularExpression>
#include <QWidget>

namespace {

bool isCut(const QLabel& label) {
    const QString text = label.text();
    if (text.isEmpty() || label.textFormat() == Qt::RichText || text.contains(QChar(0x2026)))
        return false;
    const QFontMetrics metrics = label.fontMetrics();
    const int room = label.contentsRect().width() - 2 * label.margin();
    if (!label.wordWrap()) {
        for (const QString& line : text.split(QLatin1Char('\n'))) {
            if (metrics.horizontalAdvance(line) > room)
                return true;
        }
        return false;
    }
    static const QRegularExpression space(QStringLiteral("\\s+"));
    for (const QString& word : text.split(space, Qt::SkipEmptyParts)) {
        if (metrics.horizontalAdvance(word) > room)
            return true;
    }
    return false;
}

} // namespace

QStringList labelsCutWithoutEllipsis(const QWidget* root) {
    QStringList found;
    if (!root || !root->isVisible())
        return found;
    QList<const QLabel*> labels = root->findChildren<const QLabel*>();
    if (const auto* self = qobject_cast<const QLabel*>(root))
        labels << self;
    for (const QLabel* label : labels) {
        if (label->isVisible() && isCut(*label)) {
            found << QStringLiteral("%1/%2: %3")
                         .arg(label->objectName(), QString::fromLatin1(label->metaObject()->className()),
                              label->text());
        }
    }
    return found;
}

QStringList labelsCutWithoutEllipsisOnScreen() {
    QStringList found;
    for (const QWidget* window : QApplication::topLevelWidgets())
        found << labelsCutWithoutEllipsis(window);
    return found;
}
