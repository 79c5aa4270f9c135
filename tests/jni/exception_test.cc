#include "support/jvm.h"

TEST_F(JvmTest, Starts3) {
  EXPECT_FALSE(env->ExceptionCheck());
}
