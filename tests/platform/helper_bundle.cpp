// The code of a tiny helper bundle, loaded by the bundle tests.
extern "C" int helper_answer(int question) {
  return question + 42;
}
