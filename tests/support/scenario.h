#ifndef TESTS_SUPPORT_SCENARIO_H
#define TESTS_SUPPORT_SCENARIO_H

// Scenario files: each case of the plugin's behaviour through its C ABI is a
// few lines of text run against a fresh PluginHost. The language is in
// tests/support/README.md; scenario_test.cpp turns every scenario of a file
// into a named gtest case.

#include <gtest/gtest.h>

#include <iosfwd>
#include <string>
#include <vector>

struct ScenarioLine {
  int number;  // in the file, for failure reports
  std::vector<std::string> words;
  std::string text;  // as written, tables and defines filled in
};

struct Scenario {
  std::string name;
  std::string file;
  std::vector<ScenarioLine> lines;
};

// Every scenario of `path`, tables expanded; a file that cannot be read or
// parsed gives one scenario named "Unreadable" that fails with the reason.
std::vector<Scenario> readScenarios(const std::string& path);

// gtest prints a scenario, and names its case, by the scenario's name.
void PrintTo(const Scenario& scenario, std::ostream* out);
std::string scenarioName(const testing::TestParamInfo<Scenario>& info);

// Runs `scenario`, reporting each expectation that does not hold as a gtest
// failure naming the file and line.
void runScenario(const Scenario& scenario);

#endif
