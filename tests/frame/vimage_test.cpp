// The run-time lookup of the vImage functions: found when the library is in
// the process, null when it is not, and forgotten at unload.
#include "tessivo/frame/vimage.h"
#include "tessivo/test/fake_host.h"

#include <gtest/gtest.h>

namespace tessivo {
namespace {

TEST(VImageLookup, FollowsTheLibraryInTheProcess) {
  ASSERT_TRUE(test::SetVImagePresent(true));
  ResolveVImage();
  const VImageFunctions found = VImage();
  ASSERT_TRUE(found.tentConvolveARGB8888 != nullptr && found.tentConvolvePlanar8 != nullptr &&
              found.scaleARGB8888 != nullptr);
  // The functions found are the library's: a 1x1 tent of one pixel copies it.
  uint8_t in = 42, out = 0;
  vImage_Buffer src{&in, 1, 1, 1}, dest{&out, 1, 1, 1};
  EXPECT_EQ(found.tentConvolvePlanar8(&src, &dest, nullptr, 0, 0, 1, 1, 0, kvImageEdgeExtend), kvImageNoError);
  EXPECT_EQ(out, 42);

  ResolveVImage(false);
  EXPECT_EQ(VImage().tentConvolveARGB8888, nullptr);
  ASSERT_TRUE(test::SetVImagePresent(false));
  ResolveVImage();
  EXPECT_TRUE(VImage().tentConvolveARGB8888 == nullptr && VImage().tentConvolvePlanar8 == nullptr &&
              VImage().scaleARGB8888 == nullptr);
}

}  // namespace
}  // namespace tessivo
