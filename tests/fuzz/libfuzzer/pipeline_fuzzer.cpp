#include <cstddef>
#include <cstdint>

#include "pipeline_fuzz_case.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tarvelo::runPipelineFuzzCase(data, size);
  return 0;
}
