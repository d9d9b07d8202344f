#include <mirl/arithmeticLogical.h>

#include "core/outputs.h"
#include "engine/matrix.h"

namespace mirl::arithmeticLogical {
namespace {

bool isMatrix(const MirlImage& image) {
  return image.type() == MIRL_32F_C1;
}

/// Queues the product into an output that may have been created for it.
template <bool ATransposed, bool BTransposed>
MirlStatus multiply(const runtime::Queue& queue, const core::NewOutput& isNew, const MirlImage& a,
                    const MirlImage& b, MirlImage& out) {
  if (&a == &out || &b == &out) return MIRL_IN_PLACE_NOT_SUPPORTED;
  const bool done = engine::multiplyMatrices<ATransposed, BTransposed>(
      queue, engine::elementsOf<float>(out), engine::elementsOf<const float>(a),
      engine::elementsOf<const float>(b));
  return isNew.keptIf(done ? MIRL_SUCCESS : MIRL_DEVICE_ALLOC_FAILED);
}

}  // namespace

MirlStatus matMul(const MirlImage& a, const MirlImage& b, MirlImage& out,
                  const MirlStream& stream) {
  if (!core::isLive(a) || !core::isLive(b)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (a.width() != b.height()) return MIRL_MATRIX_SIZE_MISMATCH;
  if (!isMatrix(a)) return MIRL_TYPE_NOT_SUPPORTED;
  if (b.type() != a.type()) return MIRL_MISMATCH;
  const core::NewOutput isNew(out);
  const core::Format format = core::like(a, {.size = {b.width(), a.height()}});
  runtime::Queue queue;
  const MirlStatus ready = core::prepare(stream, {&a, &b}, {&out}, format, queue,
                                         {{core::kSize, MIRL_MATRIX_SIZE_MISMATCH}, core::kType});
  if (ready != MIRL_SUCCESS) return ready;
  return multiply<false, false>(queue, isNew, a, b, out);
}

MirlStatus matMulTrans(const MirlImage& a, MirlImage& out, bool transposeFirst,
                       const MirlStream& stream) {
  if (!core::isLive(a)) return MIRL_IMAGE_NOT_INITIALIZED;
  if (!isMatrix(a)) return MIRL_TYPE_NOT_SUPPORTED;
  const core::NewOutput isNew(out);
  const int side = transposeFirst ? a.width() : a.height();
  runtime::Queue queue;
  const MirlStatus ready =
      core::prepare(stream, {&a}, {&out}, core::like(a, {.size = {side, side}}), queue,
                    {core::kType, {core::kSize, MIRL_MATRIX_SIZE_MISMATCH}});
  if (ready != MIRL_SUCCESS) return ready;
  return transposeFirst ? multiply<true, false>(queue, isNew, a, a, out)
                        : multiply<false, true>(queue, isNew, a, a, out);
}

}  // namespace mirl::arithmeticLogical
