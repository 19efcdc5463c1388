#ifndef ZOR_COMMON_TESTS_ROWS_H
#define ZOR_COMMON_TESTS_ROWS_H

/// \file
/// Tables of cases, in tests/data and fuzz/corpus: a row a line, fields separated by tabs, lines that start with "//"
/// left out. In a field, "\" and two hex digits stand for a byte.

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

namespace zor::common::test {

inline std::vector<std::vector<std::string>> ReadRows(const std::string& path)
{
    std::ifstream in(path);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 2, "//") == 0) {
            EXPECT_EQ(line.find('\t'), std::string::npos)
                << "a row that is left out, as it starts with \"//\": " << line;
            continue;
        }
        std::vector<std::string>& row = rows.emplace_back(1);
        for (std::size_t i = 0; i < line.size(); ++i) {
            if (line[i] == '\t') {
                row.emplace_back();
            } else if (line[i] == '\\') {
                row.back() += static_cast<char>(std::stoi(line.substr(i + 1, 2), nullptr, 16));
                i += 2;
            } else {
                row.back() += line[i];
            }
        }
    }
    EXPECT_FALSE(rows.empty()) << "no rows in " << path;
    return rows;
}

inline std::vector<std::vector<std::string>> Rows(const std::string& file)
{
    return ReadRows(ZOR_COMMON_TEST_DATA "/" + file);
}

} // namespace zor::common::test

#endif // ZOR_COMMON_TESTS_ROWS_H
