#pragma once

#include <QPointer>
#include <QWidget>

class FormatTypeDelegate;
class QLabel;

// The type menu of the format confirmation: three rows, "ExFAT", "MS-DOS FAT32" and
// "Journaled HFS+", tagged 0, 1 and 2. A row lights up white under the pointer; a click hands its
// tag to the delegate. The pointer leaving the menu closes it.
class FormatTypeViewController : public QWidget {
    Q_OBJECT
public:
    explicit FormatTypeViewController(QWidget* parent = nullptr);

    void setDelegate(FormatTypeDelegate* delegate) { m_delegate = delegate; }
    void setSuperDelegate(QWidget* host) { m_superDelegate = host; }

    void selectSortType(int tag);
    void mouseInView(bool inside, int tag);
    void closeWindow();

    // The row with a tag (0..2), for those who drive the menu.
    QWidget* rowWithTag(int tag) const;

    QWidget* view_1;
    QWidget* view_2;
    QWidget* view_4;
    QLabel* label_1;
    QLabel* label_2;
    QLabel* label_3;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    QLabel* labelWithTag(int tag) const;

    FormatTypeDelegate* m_delegate = nullptr;
    QPointer<QWidget> m_superDelegate;
};
