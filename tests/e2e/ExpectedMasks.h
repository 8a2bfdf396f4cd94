// What the host must receive, worked out from the frame and the scripted network output alone:
// the network's portrait labels turned back into the frame's landscape orientation, then the
// label shift (0 stays 0, k becomes k + 1).
#pragma once

#include <cstdint>
#include <vector>

namespace e2e {

constexpr int kNetWidth = 342;  // portrait network picture
constexpr int kNetHeight = 456;
constexpr int kMaskWidth = 456;  // landscape mask
constexpr int kMaskHeight = 342;

// Network label of a portrait position: quadrant 0 (top left, background), 1, 2, 3.
int quadrantLabel(int px, int py);

// The network output as int32 labels, one per portrait pixel, for the scripted stand-in.
std::vector<uint8_t> quadrantOutputInt32();

// The network position a mask pixel came from for a frame of sensor orientation `orientation`:
// 90 and 180 were turned clockwise on the way in, 0 and 270 counter-clockwise.
void networkPositionOf(int orientation, int x, int y, int* px, int* py);

// The whole expected mask for the quadrant output.
std::vector<uint8_t> expectedQuadrantMask(int orientation);

uint8_t shifted(uint8_t label);

}  // namespace e2e
