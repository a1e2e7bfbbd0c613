#include "ui/StepIndicatorView.h"

#include "ui/Artwork.h"
#include "ui/ImageView.h"
#include "ui/KitStyle.h"

#include <QGridLayout>
#include <QLabel>

StepIndicatorView::StepIndicatorView(int stepCount, const QString& picturePrefix, const QStringList& labels,
                                     QWidget* parent)
    : QWidget(parent), m_prefix(picturePrefix), m_picture(new ImageView(QString(), this)) {
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(0);
    grid->setVerticalSpacing(6);
    // The picture puts each mark in the middle of an equal share of its width; the labels sit in
    // equal columns below, so every label is centred under its mark. The row keeps the
    // picture's own width, so the round marks are never stretched.
    const QSize natural = Artwork::naturalSize(picturePrefix + QStringLiteral("1"));
    m_picture->setKeepAspect(false);
    m_picture->setFixedHeight(natural.isEmpty() ? 28 : natural.height());
    if (!natural.isEmpty())
        setFixedWidth(natural.width());
    grid->addWidget(m_picture, 0, 0, 1, stepCount);
    for (int i = 0; i < stepCount; ++i) {
        auto* label = new QLabel(labels.value(i), this);
        label->setObjectName(QStringLiteral("step%1Label").arg(i + 1));
        label->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
        label->setFont(KitStyle::font(12));
        grid->addWidget(label, 1, i);
        grid->setColumnStretch(i, 1);
        m_labels.append(label);
    }
    applyStep();
}

void StepIndicatorView::setSetpIn(int n) {
    if (n < 1 || n > stepCount())
        return;
    m_step = n;
    applyStep();
}

void StepIndicatorView::setLabelTexts(const QStringList& texts) {
    for (int i = 0; i < m_labels.size(); ++i)
        m_labels[i]->setText(texts.value(i));
}

QColor StepIndicatorView::currentColor() {
    return KitStyle::accent();
}

QColor StepIndicatorView::otherColor() {
    return KitStyle::stepInactive();
}

QLabel* StepIndicatorView::label(int n) const {
    return n >= 1 && n <= m_labels.size() ? m_labels[n - 1] : nullptr;
}

QString StepIndicatorView::pictureName() const {
    return m_picture->imageName();
}

QColor StepIndicatorView::labelColor(int n) const {
    QLabel* l = label(n);
    return l ? l->palette().color(QPalette::WindowText) : QColor();
}

QSize StepIndicatorView::sizeHint() const {
    const QSize natural = Artwork::naturalSize(pictureName());
    return QSize(natural.isEmpty() ? 130 * stepCount() : natural.width(), QWidget::sizeHint().height());
}

void StepIndicatorView::applyStep() {
    m_picture->setImageName(m_prefix + QString::number(m_step));
    for (int i = 0; i < m_labels.size(); ++i) {
        QPalette p = m_labels[i]->palette();
        p.setColor(QPalette::WindowText, i + 1 == m_step ? currentColor() : otherColor());
        m_labels[i]->setPalette(p);
    }
}
