#pragma once

#include <optional>

struct SystemVersionParts {
    int major = 10;
    int minor = 0;
    int bugFix = 0;
};

// The running system's version, from "sw_vers -productVersion" run through the Machine seam
// (on a Mac the real tool answers with the real value). On failure, errorCode receives a
// non-zero code and the answer is empty.
std::optional<SystemVersionParts> querySystemVersion(long* errorCode);

// "10.15.7" -> 10, 15, 7; "11.7" -> 11, 7, 0. Anything that does not start with two numbers
// separated by a dot is refused.
std::optional<SystemVersionParts> parseProductVersion(const char* text);
