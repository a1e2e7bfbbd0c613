#pragma once

#include <QPointer>
#include <QWidget>

class FlatButton;

// The end popup of a format: it says the work has ended (the refreshed list shows how) and its
// only button, "OK", closes it.
class FormatEndViewController : public QWidget {
    Q_OBJECT
public:
    explicit FormatEndViewController(QWidget* parent = nullptr);

    void setSuperDelegate(QWidget* host) { m_superDelegate = host; }
    void closeWindow();
    FlatButton* okButton() const { return m_ok; }

private:
    FlatButton* m_ok;
    QPointer<QWidget> m_superDelegate;
};
