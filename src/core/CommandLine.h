#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <initializer_list>

// Builds a shell command line from a printf-style format whose only conversions are %s (and
// %%), into a fixed-size buffer the way the callers' 64/128-byte buffers work.
//
// Every argument reaches the tool literally:
//  - an argument placed between double quotes in the format ("diskutil rename %s \"%s\"") has
//    \ " $ and ` escaped with a backslash;
//  - a bare argument that is empty or holds anything beyond letters, digits and /._-: is wrapped
//    in double quotes with the same escaping.
// Ordinary names therefore give exactly the documented lines.
//
// A line that does not fit bufferSize bytes (including the terminating NUL) is not cut: it is
// logged and the answer is a null QByteArray, which every runner answers with no path.
QByteArray QvFormatCommand(std::size_t bufferSize, const char* format,
                           std::initializer_list<QByteArray> args);
QByteArray QvFormatCommand(std::size_t bufferSize, const char* format, std::initializer_list<QString> args);

// True when the line fits a buffer of bufferSize bytes with its NUL; logs the line when not.
bool QvFitsBuffer(std::size_t bufferSize, const QByteArray& line);

// The escaping rules on their own.
QByteArray QvShellEscapeInQuotes(const QByteArray& text);
QByteArray QvShellBareArgument(const QByteArray& text);
