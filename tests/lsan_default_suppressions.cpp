// Memory that system libraries keep for the life of the process and free, by
// design, only at exit if at all. The leak checker of the sanitizer build asks
// for this list by name; our own code is never listed here.
extern "C" const char* __lsan_default_suppressions() {
  return
      // ICU's caches, filled by Qt's locale and text code.
      "leak:libicui18n.so\n"
      "leak:libicuuc.so\n"
      // libdbus, when Qt looks for a session or accessibility bus that is not
      // there, and a message still in flight when a connection closes at exit.
      "leak:libdbus-1.so\n"
      // fontconfig's configuration, read once by Qt's font database.
      "leak:libfontconfig.so\n"
      // Mesa's software OpenGL driver.
      "leak:swrast_dri.so\n"
      // Qt's wayland platform leaves some of its protocol objects to the
      // Wayland client library when the connection closes at exit.
      "leak:libwayland-client.so\n";
}
