// Apart from doctest's own code, so that a program with a `main` of its own can use the test support.
#include <doctest/doctest.h>

int main(int argc, char** argv) { return doctest::Context(argc, argv).run(); }
