#pragma once

// What the type menu tells the confirmation: the tag of the row clicked (0 "ExFAT",
// 1 "MS-DOS FAT32", 2 "Journaled HFS+").
class FormatTypeDelegate {
public:
    virtual ~FormatTypeDelegate() = default;
    virtual void selectFormatbyType(int tag) { (void)tag; }
};
