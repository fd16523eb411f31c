// Moves the rig's pointer, and clicks, from a shell test:
//   tarvelo-rig-pointer WIDTHxHEIGHT move X Y
//   tarvelo-rig-pointer WIDTHxHEIGHT click X Y
// WIDTHxHEIGHT is the bounding box of the rig's layout; X Y a place in it.
#include <chrono>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>

#include "rig/rig_pointer.h"

int main(int argc, char** argv) {
  int width = 0;
  int height = 0;
  double x = 0.0;
  double y = 0.0;
  const std::string action = argc == 5 ? argv[2] : "";
  if (argc != 5 || std::sscanf(argv[1], "%dx%d", &width, &height) != 2 || width <= 0 || height <= 0 ||
      (action != "move" && action != "click") || std::sscanf(argv[3], "%lf", &x) != 1 ||
      std::sscanf(argv[4], "%lf", &y) != 1) {
    std::fprintf(stderr, "usage: tarvelo-rig-pointer WIDTHxHEIGHT move|click X Y\n");
    return 2;
  }
  try {
    // Clients give themselves a pointer only once they hear that the seat
    // has one, which is when this one is made; moves in the same breath
    // would reach them before they listen. A person's mouse is always there.
    using namespace std::chrono_literals;
    tarvelo::testing::RigPointer pointer(width, height);
    pointer.moveTo(x + 1.0, y);
    std::this_thread::sleep_for(250ms);
    pointer.moveTo(x, y);
    if (action == "click") pointer.click();
    std::this_thread::sleep_for(250ms);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tarvelo-rig-pointer: %s\n", error.what());
    return 1;
  }
  return 0;
}
