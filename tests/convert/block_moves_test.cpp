#include <gtest/gtest.h>
TEST(Placeholder, Build) {}
