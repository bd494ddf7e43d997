#include "notes/MimeSniffer.h"

namespace Tessarix::Notes {

// Legacy names that some sniffers still give for JPEG and PNG.
std::u16string NormaliseMime(std::u16string mime) {
    if (mime == u"image/pjpeg")
        return u"image/jpeg";
    if (mime == u"image/x-png")
        return u"image/png";
    return mime;
}

} // namespace Tessarix::Notes
