#pragma once
#include <QObject>

class TestPropertyList : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void readsToolShapedXmlWithTypes();
    void refusesWhatIsNotADictionary_data();
    void refusesWhatIsNotADictionary();
    void roundTripsXmlAndBinary();
    void writesAtomicallyAndInByteOrder();
};
