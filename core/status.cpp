#include <mirl/status.h>

namespace mirl {

const char* statusMessage(int status) {
  switch (status) {
    case MIRL_SUCCESS:
      return "MIRL: No Error";
    case MIRL_DEVICE_ALLOC_FAILED:
      return "MIRL: Device Memory Allocation Failed";
    case MIRL_ARRAY_ALLOC_FAILED:
      return "MIRL: Device Array Allocation Failed";
    case MIRL_MEMSET_FAILED:
      return "MIRL: Device Memset Failed";
    case MIRL_COPY_H2D_FAILED:
      return "MIRL: Memory Copy From Host To Device Failed";
    case MIRL_COPY_D2H_FAILED:
      return "MIRL: Memory Copy From Device To Host Failed";
    case MIRL_COPY_D2D_FAILED:
      return "MIRL: Memory Copy From Device To Device Failed";
    case MIRL_COPY_D2ARRAY_FAILED:
      return "MIRL: Memory Copy From Device To Device Array Failed";
    case MIRL_COPY_H2SYMBOL_FAILED:
      return "MIRL: Memory Copy From Host To Device Symbol Failed";
    case MIRL_COPY_FAILED:
      return "MIRL: Memory Copy Failed";
    case MIRL_DEVICE_FREE_FAILED:
      return "MIRL: Failed To Release Device Memory";
    case MIRL_ARRAY_FREE_FAILED:
      return "MIRL: Failed To Release Device Array";
    case MIRL_TEXTURE_BIND_FAILED:
      return "MIRL: Texture Binding Failed";
    case MIRL_TEXTURE_UNBIND_FAILED:
      return "MIRL: Texture Unbinding Failed";
    case MIRL_INTERNAL_CALL_FAILED:
      return "MIRL: Internal Function Calling Failed";
    case MIRL_NPP_FAILED:
      return "MIRL: NPP Function Call Failed";
    case MIRL_CHANNELS_NOT_SUPPORTED:
      return "MIRL: Specified Number Of Channels Not Supported For Current Operation";
    case MIRL_DEPTH_NOT_SUPPORTED:
      return "MIRL: Specified Image Depth Not Supported For Current Operation";
    case MIRL_HOST_REGISTER_FAILED:
      return "MIRL: Failed To Register Host Memory";
    case MIRL_HOST_UNREGISTER_FAILED:
      return "MIRL: Failed To Unregister Host Memory";
    default:
      return "MIRL: Unknown Error";
  }
}

}  // namespace mirl
