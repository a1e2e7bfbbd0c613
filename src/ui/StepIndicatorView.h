#pragma once

#include <QColor>
#include <QList>
#include <QString>
#include <QStringList>
#include <QWidget>

class ImageView;
class QLabel;

// A row of numbered steps: a picture of the track with the current step marked, and one label
// under each mark. The current step's label takes the accent colour, the others a quiet grey.
// The pictures are named by a prefix and the step number ("step2", "oc_step3").
class StepIndicatorView : public QWidget {
    Q_OBJECT
public:
    StepIndicatorView(int stepCount, const QString& picturePrefix, const QStringList& labels,
                      QWidget* parent = nullptr);

    static QColor currentColor();
    static QColor otherColor();

    int stepCount() const { return m_labels.size(); }
    int currentStep() const { return m_step; }
    // Moves the mark to step n (1 to stepCount()); any other value changes nothing.
    void setSetpIn(int n);
    void setLabelTexts(const QStringList& texts);
    QLabel* label(int n) const; // 1-based
    ImageView* pictureView() const { return m_picture; }
    QString pictureName() const;
    // The colour label n is drawn in right now.
    QColor labelColor(int n) const;

    QSize sizeHint() const override;

private:
    void applyStep();

    QString m_prefix;
    ImageView* m_picture;
    QList<QLabel*> m_labels;
    int m_step = 1;
};
