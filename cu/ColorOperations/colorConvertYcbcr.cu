#include "cu/ColorOperations/colorConvert.h"

namespace mirl::colorOperations {
namespace {

using Table = engine::MixRows<3>;

/// Every factor times `factors` and every offset times `offsets`.
Table scaled(const Table& table, float factors, float offsets) {
  Table result = table;
  for (MixRow& row : result.row) {
    for (float& factor : row.factor) factor *= factors;
    row.offset *= offsets;
  }
  return result;
}

/// Y, Cb and Cr from red, green and blue.
constexpr Table kToYcbcr = {{{{65.481f, 128.553f, 24.966f}, 16.0f},
                             {{-37.797f, -74.203f, 112.0f}, 128.0f},
                             {{112.0f, -93.786f, -18.214f}, 128.0f}}};
/// Red, green and blue from Y, Cb and Cr.
constexpr Table kFromYcbcr = {{{{0.0045662f, 0.0f, 0.0062589f}, -0.8742024f},
                               {{0.0045662f, -0.0015363f, -0.0031881f}, 0.5316682f},
                               {{0.0045662f, 0.0079107f, 0.0f}, -1.0856326f}}};

template <class T>
constexpr float kWhite = std::is_same_v<T, float> ? 1.0f : static_cast<float>(engine::kGreatest<T>);

template <class T>
using kernel_ycbcr = engine::kernel_mix<T, 3, 3>;

/// The rows for colours that come in this order, and for colours that go out in it.
template <class Order>
Table fromOrder(const Table& table) {
  return {{inMemoryOrder<Order>(table.row[0]), inMemoryOrder<Order>(table.row[1]),
           inMemoryOrder<Order>(table.row[2])}};
}
template <class Order>
Table toOrder(const Table& table) {
  return {{table.row[Order::kRed], table.row[1], table.row[Order::kBlue]}};
}

/// A sequence of four channels as the one of three with the same order of colours.
MirlChannelSeq withoutAlpha(MirlChannelSeq sequence) {
  if (sequence == MIRL_CHANNELSEQ_RGBA) return MIRL_CHANNELSEQ_RGB;
  if (sequence == MIRL_CHANNELSEQ_BGRA) return MIRL_CHANNELSEQ_BGR;
  return sequence;
}

}  // namespace

MirlStatus rgb2ycbcr(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;
  destination.setChannelSequence(MIRL_CHANNELSEQ_RGB);

  const bool served = engine::visitElements<3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        constexpr bool kFloat = std::is_same_v<T, float>;
        const MirlChannelSeq sequence =
            kFloat ? source.channelSeq() : withoutAlpha(source.channelSeq());
        const Table table = scaled(kToYcbcr, 1.0f / 255.0f, kWhite<T> / 255.0f);
        visitOrder(sequence, 3, [&]<class Order>(Order) {
          mapColours<T>(queue, kernel_ycbcr<T>{fromOrder<Order>(table)}, source, destination);
        });
      });
  return served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
}

MirlStatus ycbcr2rgb(const MirlImage& source, MirlImage& destination, const MirlStream& stream) {
  runtime::Queue queue;
  const MirlStatus ready = prepareColours(source, destination, stream, queue);
  if (ready != MIRL_SUCCESS) return ready;

  const bool served = engine::visitElements<3>(
      engine::AllElements{}, engine::typesOf(source), [&]<class T>(Combination<T>) {
        const Table table = scaled(kFromYcbcr, 255.0f, kWhite<T>);
        visitOrder(destination.channelSeq(), 3, [&]<class Order>(Order) {
          mapColours<T>(queue, kernel_ycbcr<T>{toOrder<Order>(table)}, source, destination);
        });
      });
  return served ? MIRL_SUCCESS : MIRL_TYPE_NOT_SUPPORTED;
}

}  // namespace mirl::colorOperations
