#include "support/jvm.h"

TEST_F(JvmTest, Starts2) {
  EXPECT_FALSE(env->ExceptionCheck());
}
