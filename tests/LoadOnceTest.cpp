// Libraries loaded at run time: a load that fails is tried again, one that
// succeeds is kept, and threads that ask first together load once.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "Platform/linux/RuntimeLibrary.h"

namespace rqb {
namespace {

const int kLoaded = 1;

TEST(LoadOnce, AFailedLoadIsTriedAgainAndASuccessfulOneIsKept) {
  LoadOnce<const int*> library;
  int loads = 0;
  const auto fails = [&] {
    ++loads;
    return static_cast<const int*>(nullptr);
  };
  EXPECT_EQ(library.Get(fails), nullptr);  // say, out of descriptors
  EXPECT_EQ(library.Get([&] {
    ++loads;
    return &kLoaded;
  }),
            &kLoaded);
  EXPECT_EQ(library.Get(fails), &kLoaded);
  EXPECT_EQ(loads, 2);
}

TEST(LoadOnce, ThreadsThatAskFirstTogetherLoadOnce) {
  LoadOnce<const int*> library;
  std::atomic<int> loads = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) {
    threads.emplace_back([&] {
      EXPECT_EQ(library.Get([&] {
        ++loads;
        return &kLoaded;
      }),
                &kLoaded);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(loads, 1);
}

}  // namespace
}  // namespace rqb
