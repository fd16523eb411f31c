#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "displays/x11/x11_display_source.h"

namespace tarvelo {
namespace {

constexpr std::size_t kBlockSize = 128;
constexpr std::size_t kFirstDescriptor = 54;
constexpr std::size_t kDescriptorSize = 18;

// A base block with the EDID header and four descriptor slots that all hold
// detailed timings (non-zero pixel clock), so it names nothing until a test
// writes a descriptor into a slot.
std::vector<std::uint8_t> blankEdid() {
  std::vector<std::uint8_t> edid(kBlockSize, 0);
  const std::array<std::uint8_t, 8> header = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};
  std::copy(header.begin(), header.end(), edid.begin());
  for (std::size_t slot = 0; slot < 4; ++slot) {
    edid[kFirstDescriptor + slot * kDescriptorSize] = 0x3A;  // pixel clock, low byte
    edid[kFirstDescriptor + slot * kDescriptorSize + 1] = 0x02;
  }
  return edid;
}

// Writes a display descriptor with `tag` into `slot`: 00 00 00 tag 00, then the
// thirteen text bytes exactly as given (the caller chooses the padding).
void writeDescriptor(std::vector<std::uint8_t>& edid, std::size_t slot, std::uint8_t tag,
                     const std::vector<std::uint8_t>& text) {
  const std::size_t start = kFirstDescriptor + slot * kDescriptorSize;
  std::fill(edid.begin() + static_cast<std::ptrdiff_t>(start),
            edid.begin() + static_cast<std::ptrdiff_t>(start + kDescriptorSize), 0);
  edid[start + 3] = tag;
  for (std::size_t i = 0; i < text.size() && i < 13; ++i) edid[start + 5 + i] = text[i];
}

// The usual layout: the text, a line feed, then spaces up to thirteen bytes.
std::vector<std::uint8_t> paddedText(std::string_view text) {
  std::vector<std::uint8_t> bytes(text.begin(), text.end());
  if (bytes.size() < 13) bytes.push_back(0x0A);
  while (bytes.size() < 13) bytes.push_back(0x20);
  return bytes;
}

TEST(EdidProductName, ReadsTheProductNameDescriptor) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, paddedText("DELL U2720Q"));
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("DELL U2720Q"));
}

TEST(EdidProductName, FindsTheNameInAnyDescriptorSlot) {
  for (std::size_t slot = 0; slot < 4; ++slot) {
    auto edid = blankEdid();
    writeDescriptor(edid, slot, 0xFC, paddedText("LG HDR 4K"));
    EXPECT_EQ(edidProductName(edid), std::optional<std::string>("LG HDR 4K")) << "slot " << slot;
  }
}

TEST(EdidProductName, SkipsOtherDisplayDescriptors) {
  auto edid = blankEdid();
  writeDescriptor(edid, 1, 0xFF, paddedText("SERIAL123"));  // serial number
  writeDescriptor(edid, 2, 0xFD, paddedText("range"));      // range limits
  writeDescriptor(edid, 3, 0xFC, paddedText("Studio"));
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("Studio"));
}

TEST(EdidProductName, WithoutAProductNameDescriptorThereIsNoName) {
  auto edid = blankEdid();
  writeDescriptor(edid, 2, 0xFF, paddedText("SERIAL123"));
  EXPECT_EQ(edidProductName(edid), std::nullopt);
  EXPECT_EQ(edidProductName(blankEdid()), std::nullopt);
}

TEST(EdidProductName, TheNameEndsAtTheLineFeed) {
  auto edid = blankEdid();
  // Bytes after the line feed are padding, whatever they are.
  writeDescriptor(edid, 3, 0xFC, {'P', 'a', 'n', 'e', 'l', 0x0A, 'J', 'U', 'N', 'K', 0x20, 0x20, 0x20});
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("Panel"));
}

TEST(EdidProductName, SpacePaddingWithoutALineFeedIsTrimmed) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, {' ', 'X', '2', '7', ' ', 'P', 'r', 'o', ' ', ' ', ' ', ' ', ' '});
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("X27 Pro"));
}

TEST(EdidProductName, AFullThirteenCharacterNameNeedsNoTerminator) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, paddedText("ABCDEFGHIJKLM"));
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("ABCDEFGHIJKLM"));
}

TEST(EdidProductName, ABlankNameIsNoName) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, paddedText("   "));
  EXPECT_EQ(edidProductName(edid), std::nullopt);
  writeDescriptor(edid, 3, 0xFC, paddedText(""));
  EXPECT_EQ(edidProductName(edid), std::nullopt);
}

TEST(EdidProductName, ABlockShorterThanTheBaseBlockHasNoName) {
  auto edid = blankEdid();
  writeDescriptor(edid, 0, 0xFC, paddedText("Short"));
  edid.resize(kBlockSize - 1);
  EXPECT_EQ(edidProductName(edid), std::nullopt);
  EXPECT_EQ(edidProductName(std::vector<std::uint8_t>{}), std::nullopt);
}

TEST(EdidProductName, ExtensionBlocksAfterTheBaseBlockAreAllowed) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, paddedText("Wide"));
  edid.resize(2 * kBlockSize, 0x02);
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("Wide"));
}

TEST(EdidProductName, BytesWithoutTheEdidHeaderAreNotAnEdid) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, paddedText("Fake"));
  edid[0] = 0x01;
  EXPECT_EQ(edidProductName(edid), std::nullopt);
}

TEST(EdidProductName, ADetailedTimingIsNotMistakenForANameDescriptor) {
  auto edid = blankEdid();
  // A timing whose fourth byte happens to be 0xFC: its pixel clock is not zero.
  edid[kFirstDescriptor + 3] = 0xFC;
  edid[kFirstDescriptor + 5] = 'Q';
  EXPECT_EQ(edidProductName(edid), std::nullopt);
}

TEST(EdidProductName, CharactersOutsidePrintableAsciiAreDropped) {
  auto edid = blankEdid();
  writeDescriptor(edid, 3, 0xFC, {'M', 0xE9, 'g', 'a', 0x07, 0x0A, ' ', ' ', ' ', ' ', ' ', ' ', ' '});
  EXPECT_EQ(edidProductName(edid), std::optional<std::string>("Mga"));
}

TEST(BuiltinOutput, APanelConnectorTypeIsBuiltin) {
  EXPECT_TRUE(isBuiltinOutput("DP-3", true));
  EXPECT_FALSE(isBuiltinOutput("DP-3", false));
}

TEST(BuiltinOutput, LaptopPanelOutputNamesAreBuiltin) {
  EXPECT_TRUE(isBuiltinOutput("eDP-1", false));
  EXPECT_TRUE(isBuiltinOutput("eDP1", false));
  EXPECT_TRUE(isBuiltinOutput("LVDS-1", false));
  EXPECT_TRUE(isBuiltinOutput("DSI-1", false));
}

TEST(BuiltinOutput, ExternalConnectorNamesAreNotBuiltin) {
  for (const char* name : {"HDMI-1", "DP-1", "DUMMY0", "VGA-1", "DVI-D-1", "edp-1", "xeDP-1", ""}) {
    EXPECT_FALSE(isBuiltinOutput(name, false)) << name;
  }
}

}  // namespace
}  // namespace tarvelo
