#include "ui/win32/PictureResources.h"

#include <algorithm>

#include "win32/NativeText.h"

namespace bkfd::native {
namespace {

OwnedIcon LoadIconOfSize(const NativeText& name, int width, int height) {
    const HINSTANCE program = ::GetModuleHandleA(nullptr);
    const HANDLE icon = HasWideCalls()
                            ? ::LoadImageW(program, name.Wide(), IMAGE_ICON, width, height, 0)
                            : ::LoadImageA(program, name.Ansi(), IMAGE_ICON, width, height, 0);
    return OwnedIcon(static_cast<HICON>(icon));
}

const BITMAPINFO* FindBitmap(TextView name) {
    const HMODULE program = ::GetModuleHandleA(nullptr);
    const HRSRC place = ::FindResourceA(program, ToUtf8(name).c_str(), RT_BITMAP);
    const HGLOBAL data = place ? ::LoadResource(program, place) : nullptr;
    return static_cast<const BITMAPINFO*>(data ? ::LockResource(data) : nullptr);
}

}  // namespace

OwnedIcon LoadIconResource(TextView name, int width, int height) {
    if (name.empty()) return {};
    const NativeText native(name);
    OwnedIcon icon = LoadIconOfSize(native, width, height);
    // Systems before Windows Vista can't read the large icons, which are compressed.
    for (const int side : {48, 32, 16}) {
        if (!icon.IsThere() && side < width) icon = LoadIconOfSize(native, side, side);
    }
    return icon;
}

OwnedBitmap LoadBitmapResource(TextView name, int width) {
    const BITMAPINFO* bitmap = FindBitmap(name);
    if (bitmap && bitmap->bmiHeader.biWidth < width) {
        const BITMAPINFO* large = FindBitmap(Text(name) + u"_LARGE");
        if (large) bitmap = large;
    }
    if (!bitmap) return {};
    const BITMAPINFOHEADER& header = bitmap->bmiHeader;
    const DWORD usual = header.biBitCount <= 8 ? 1u << header.biBitCount : 0u;
    const DWORD colours = header.biClrUsed != 0 ? header.biClrUsed : usual;
    const WindowDevice screen(nullptr);
    return OwnedBitmap(::CreateDIBitmap(screen.Get(), &header, CBM_INIT,
                                        bitmap->bmiColors + colours, bitmap, DIB_RGB_COLORS));
}

OwnedImageList LoadSmallIcons(const std::vector<NamedImage>& images) {
    if (images.empty()) return {};
    const int width = ::GetSystemMetrics(SM_CXSMICON);
    const int height = ::GetSystemMetrics(SM_CYSMICON);
    constexpr UINT kColours = 0x20 | ILC_MASK;  // 32 bits: half transparent edges
    OwnedImageList list(
        ::ImageList_Create(width, height, kColours, static_cast<int>(images.size()), 0));
    for (const NamedImage& image : images) {
        const OwnedIcon icon = LoadIconResource(image.resource, width, height);
        ::ImageList_ReplaceIcon(
            list.Get(), -1, icon.IsThere() ? icon.Get() : ::LoadIconA(nullptr, IDI_APPLICATION));
    }
    return list;
}

int PlaceOfImage(const std::vector<NamedImage>& images, const Text& key) {
    const auto found = std::find_if(images.begin(), images.end(),
                                    [&](const NamedImage& image) { return image.key == key; });
    return found == images.end() ? -1 : static_cast<int>(found - images.begin());
}

}  // namespace bkfd::native
