#pragma once

#include <QDialog>

class QLabel;

// The "About Tavrill" window: the program's mark, name, version and maker.
class AboutWindow : public QDialog {
    Q_OBJECT
public:
    explicit AboutWindow(QWidget* parent = nullptr);

    QLabel* versionLabel() const { return m_versionLabel; }

private:
    QLabel* m_versionLabel;
};
