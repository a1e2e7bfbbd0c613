#pragma once

#include "ui/MessagePanel.h"

class FlatButton;

// The end popup of a format: it says the work has ended (the refreshed list shows how) and its
// only button, "OK", closes it.
class FormatEndViewController : public MessagePanel {
    Q_OBJECT
public:
    explicit FormatEndViewController(QWidget* parent = nullptr);

    FlatButton* okButton() const { return button(); }
};
