#pragma once

#include "ui/MessagePanel.h"

class FlatButton;

// The end popup of a format: it says whether the disk tool succeeded (and, when not, what went
// wrong); the refreshed list shows the volume as it is now. Its only button, "OK", closes it.
class FormatEndViewController : public MessagePanel {
    Q_OBJECT
public:
    explicit FormatEndViewController(QWidget* parent = nullptr);

    void setOutcome(bool succeeded, const QString& message);

    FlatButton* okButton() const { return button(); }
};
