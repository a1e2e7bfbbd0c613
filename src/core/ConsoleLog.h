#pragma once

// The platform's console log (NSLog on a Mac): diagnostic lines that are not part of the
// disk-operation log in /tmp/Pellory.txt.
void QvConsoleLog(const char* format, ...) __attribute__((format(printf, 1, 2)));
