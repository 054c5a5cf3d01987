// Apart from doctest's own code, so that a program with a `main` of its own can use the test support.
#include <doctest/doctest.h>

#include <cstdio>

namespace {

int matching = -1;  // cases that the filters let through, unknown where none were to run

struct Listener : doctest::IReporter {
  explicit Listener(const doctest::ContextOptions& /*options*/) {}
  void test_run_end(const doctest::TestRunStats& run) override {
    matching = static_cast<int>(run.numTestCasesPassingFilters);
  }
  void report_query(const doctest::QueryData& /*data*/) override {}
  void test_run_start() override {}
  void test_case_start(const doctest::TestCaseData& /*data*/) override {}
  void test_case_reenter(const doctest::TestCaseData& /*data*/) override {}
  void test_case_end(const doctest::CurrentTestCaseStats& /*stats*/) override {}
  void test_case_exception(const doctest::TestCaseException& /*exception*/) override {}
  void subcase_start(const doctest::SubcaseSignature& /*signature*/) override {}
  void subcase_end() override {}
  void log_assert(const doctest::AssertData& /*data*/) override {}
  void log_message(const doctest::MessageData& /*data*/) override {}
  void test_case_skipped(const doctest::TestCaseData& /*data*/) override {}
};
REGISTER_LISTENER("matching", 1, Listener);

}  // namespace

int main(int argc, char** argv) {
  const int result = doctest::Context(argc, argv).run();
  if (matching != 0) return result;
  std::fputs("No test case matches the filter.\n", stderr);
  return 1;
}
