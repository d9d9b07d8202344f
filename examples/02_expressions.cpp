// A frame of a sensor, corrected by an expression: less its dark level, times what each column
// lacks in sensitivity. Whole numbers keep an image's type, the others make it float.

#include <mirl/mirl.h>

#include <cstdio>

int main() {
  const MirlSize size(640, 480);
  MirlImage frame(size, MIRL_16U_C1), dark(size, MIRL_16U_C1), gain(size, MIRL_32F_C1);
  frame.set(1010);
  dark.set(10);
  gain.set(1.25);

  MirlImage corrected = (frame - dark) * gain;
  corrected /= 2.0;  // into the image that is there, without another one
  std::printf("(1010 - 10) * 1.25 / 2 = %g\n", corrected.get(0, 0, 0));

  const MirlImage brighter = frame + 65000;
  std::printf("1010 + 65000 = %g in 16 bits\n", brighter.get(0, 0, 0));
  return corrected.isInitialized() && brighter.isInitialized() ? 0 : 1;
}
