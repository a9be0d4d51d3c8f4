// Addresses taken apart.
#include <gtest/gtest.h>
