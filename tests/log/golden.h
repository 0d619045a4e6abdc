#pragma once
// Expected texts in tests/data/<file>: sections from a line "=== name" to the next, LF line ends.
#include <gtest/gtest.h>
#include <fstream>
#include <string>

namespace testdata {

inline std::string golden(const char* file, const std::string& name)
{
    std::ifstream in(std::string(TARV_TEST_DATA) + file, std::ios::binary);
    std::string line, text;
    bool inside = false, found = false;
    while (std::getline(in, line)) {
        if (line.starts_with("=== ")) {
            inside = line.substr(4) == name;
            if (inside && found) ADD_FAILURE() << "two texts \"" << name << "\" in " << file;
            found = found || inside;
        } else if (inside) {
            text += line + "\n";
        }
    }
    if (!found) ADD_FAILURE() << "no text \"" << name << "\" in " << TARV_TEST_DATA << file;
    return text;
}

} // namespace testdata
