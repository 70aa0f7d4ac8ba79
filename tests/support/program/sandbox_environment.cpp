// Linked into every test program: before the first test, the application
// path becomes a sandbox of the program's own, so that nothing a test runs
// (event logs, parameter files, debug logs) can write below the real "/var"
// or "/etc".
#include "oxconf.h"
#include "sandbox.h"

#include <gtest/gtest.h>

namespace {

class SandboxRootEnvironment : public ::testing::Environment {
  public:
    void SetUp() override { OxConfiguration::Instance()->SetAppPath(ProcessSandboxRoot()); }
};

const ::testing::Environment* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new SandboxRootEnvironment);

}  // namespace
