#ifndef TESTS_SUPPORT_TEST_HELPERS_H
#define TESTS_SUPPORT_TEST_HELPERS_H

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "hitachi_exception.h"

// The whole text of a file ("" when it cannot be read).
inline std::string readText(const std::string& path) {
  std::ifstream in(path);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The CHitachiException that `fn` throws; a test failure when it throws none.
template <class Fn>
CHitachiException caughtHitachi(Fn fn) {
  try {
    fn();
  } catch (const CHitachiException& e) {
    return e;
  }
  ADD_FAILURE() << "no CHitachiException was thrown";
  return CHitachiException();
}

#endif
