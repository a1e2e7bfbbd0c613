#pragma once

#include "volumes/DriveIdentity.h"

#include <QStringList>
#include <QWidget>

class ElidedLabel;
class QVBoxLayout;

// What an erase destroys, for the confirmations that ask before one: the device, the drive's
// model, bus and capacity, each volume that goes with its used space, and how much data that is
// in all. Every line is shortened in the middle when it does not fit.
class DriveLossView : public QWidget {
    Q_OBJECT
public:
    explicit DriveLossView(QWidget* parent = nullptr);

    // `device` is what is erased: the drive's node for a whole disk, a volume's for one volume.
    void setLoss(const QString& device, const DriveIdentity& drive, const QList<DriveVolume>& destroyed);
    // The lines shown, whole.
    QStringList lines() const;

private:
    ElidedLabel* addLine(const QString& text, bool emphasis);

    QVBoxLayout* m_column;
    QList<ElidedLabel*> m_lines;
};
