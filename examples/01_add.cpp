#include <mirl/mirl.h>

#include <cstdio>
#include <vector>

int main() {
  MirlDeviceProperties device{};
  mirl::device::getDeviceProperties(mirl::device::getCurentDevice(), device);

  const MirlSize size(640, 480);
  const std::vector<unsigned char> light(640 * 480, 200), dark(640 * 480, 100);
  MirlImage a(size, MIRL_8U_C1), b(size, MIRL_8U_C1), sum(size, MIRL_16U_C1);
  a.upload(light.data(), size.width);
  b.upload(dark.data(), size.width);

  const MirlStatus status = mirl::arithmeticLogical::add(a, b, sum);
  std::printf("%s: %s\n", device.name, mirl::statusMessage(status));
  std::printf("200 + 100 = %g\n", sum.get(0, 0, 0));
  return status == MIRL_SUCCESS ? 0 : 1;
}
