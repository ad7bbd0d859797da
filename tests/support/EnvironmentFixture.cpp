#include "EnvironmentFixture.h"

namespace testing_support {

void EnvironmentFixture::SetUp() {
  clock_ = std::make_shared<ManualClock>(kStart);
  platform::Environment::shared().setClock(clock_);
  platform::Environment::shared().setOperatingSystemVersion({17, 0, 0});
}

void EnvironmentFixture::TearDown() { platform::Environment::shared().reset(); }

}  // namespace testing_support
