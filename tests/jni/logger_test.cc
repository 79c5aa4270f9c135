#include "support/jvm.h"

TEST_F(JvmTest, Starts4) {
  EXPECT_FALSE(env->ExceptionCheck());
}
