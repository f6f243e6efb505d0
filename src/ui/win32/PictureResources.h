#pragma once

#include <vector>

#include "ui/NamedImage.h"
#include "win32/WindowHandles.h"

namespace bkfd::native {

/// An icon of the program's resources, or none. It may have another size than the one asked for.
OwnedIcon LoadIconResource(TextView name, int width, int height);
/// A bitmap of the program's resources in its own size, or none. For a `width` beyond its own it is
/// the one named `name`_LARGE, if that is there.
OwnedBitmap LoadBitmapResource(TextView name, int width);
/// The images in the size of small icons and in their order, or none where there are no images.
/// Each has its place, also one that can't be loaded.
OwnedImageList LoadSmallIcons(const std::vector<NamedImage>& images);
/// The place of the image with that key, or -1.
int PlaceOfImage(const std::vector<NamedImage>& images, const Text& key);

}  // namespace bkfd::native
