#include <iostream>

// The application needs a windowing platform to show anything: until the
// Linux/X11 one exists there is nothing honest to run, so say so and fail.
int main() {
  std::cerr << "tarvelo: the X11 platform is not built yet; the application cannot run on this system." << std::endl;
  return 1;
}
