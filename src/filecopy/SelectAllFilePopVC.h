#pragma once

#include <QWidget>

class QPushButton;

class SelectAllFilePopVCDelegate {
public:
    virtual ~SelectAllFilePopVCDelegate() = default;
    // 0 "Copy All Files", 1 "Copy Some Files".
    virtual void selectFormatbyType(int type) = 0;
};

// The copy-type pop-up of the copy tab: the two choices, one row each; a click on a row tells
// the delegate. The owner shows it in a popover and closes it.
class SelectAllFilePopVC : public QWidget {
    Q_OBJECT
public:
    explicit SelectAllFilePopVC(QWidget* parent = nullptr);

    static QString typeText(int type);
    void setDelegate(SelectAllFilePopVCDelegate* delegate) { m_delegate = delegate; }
    QPushButton* row(int type) const { return type == 0 ? m_all : m_some; }

private:
    QPushButton* m_all;
    QPushButton* m_some;
    SelectAllFilePopVCDelegate* m_delegate = nullptr;
};
