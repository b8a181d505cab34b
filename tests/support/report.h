#pragma once

#include <map>
#include <sstream>
#include <string>

namespace support {

/// What a child said as "NAME VALUE", a line each: the values of each name, separated by spaces.
using Report = std::map<std::string, std::string>;

inline Report ReadReport(const std::string& output) {
  Report report;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    std::string& values = report[line.substr(0, line.find(' '))];
    if (!values.empty()) values += ' ';
    values += line.substr(line.find(' ') + 1);
  }
  return report;
}

}  // namespace support
