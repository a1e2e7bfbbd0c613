#include "LabelFit.h"

#include <QLabel>
#include <QRegularExpression>
#include <QWidget>

#include <algorithm>

namespace {

bool isCut(const QLabel& label) {
    const QString text = label.text();
    if (text.isEmpty() || label.textFormat() == Qt::RichText || text.contains(QChar(0x2026)))
        return false;
    const int room = label.contentsRect().width() - 2 * label.margin();
    // Unwrapped, a line must fit; wrapped, every word must.
    static const QRegularExpression space(QStringLiteral("\\s+"));
    const QStringList parts =
        label.wordWrap() ? text.split(space, Qt::SkipEmptyParts) : text.split(QLatin1Char('\n'));
    return std::any_of(parts.begin(), parts.end(), [&](const QString& part) {
        return label.fontMetrics().horizontalAdvance(part) > room;
    });
}

} // namespace

QStringList labelsCutWithoutEllipsis(const QWidget* root) {
    QStringList found;
    if (!root || !root->isVisible())
        return found;
    QList<const QLabel*> labels = root->findChildren<const QLabel*>();
    if (const auto* self = qobject_cast<const QLabel*>(root))
        labels << self;
    for (const QLabel* label : labels)
        if (label->isVisible() && isCut(*label))
            found << QStringLiteral("%1/%2: %3")
                         .arg(label->objectName(), QString::fromLatin1(label->metaObject()->className()),
                              label->text());
    return found;
}
