// Every scenario of the file SCENARIOS as a gtest case of its own name,
// SCENARIO_SUITE/ScenarioFile.Holds/<name>.
#include "scenario.h"

#include <gtest/gtest.h>

namespace {

class ScenarioFile : public ::testing::TestWithParam<Scenario> {};

TEST_P(ScenarioFile, Holds) { runScenario(GetParam()); }

INSTANTIATE_TEST_SUITE_P(SCENARIO_SUITE, ScenarioFile, ::testing::ValuesIn(readScenarios(SCENARIOS)),
                         scenarioName);

}  // namespace
