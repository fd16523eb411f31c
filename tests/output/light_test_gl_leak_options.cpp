// Linked only into the OpenGL run of the light view tests. Mesa's software
// OpenGL (whose driver is unloaded before the leak check, so it shows as an
// unknown module) and the X11 platform's D-Bus connection keep allocations
// to the end that the leak checker reports; the view's own memory is
// leak-checked by the offscreen run of the very same tests.
extern "C" const char* __lsan_default_options() { return "detect_leaks=0"; }
