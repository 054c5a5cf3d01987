// What the shared library gives back when it is unloaded: its copy of the C++ runtime keeps 72 kB for exceptions in
// times of no memory, which a host that loads and unloads plug-ins would lose each time.
// NOLINTBEGIN(bugprone-reserved-identifier): libstdc++'s names. Other runtimes have none.
namespace __gnu_cxx {
[[gnu::weak]] void __freeres();
}
// NOLINTEND(bugprone-reserved-identifier)

[[gnu::destructor]] static void release_runtime() {
  if (__gnu_cxx::__freeres) __gnu_cxx::__freeres();
}
