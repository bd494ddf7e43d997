#include "html/PictureSources.h"

namespace Tessarix::Html::Pictures {

std::u16string ReplaceFileScheme(std::u16string_view address, std::u16string_view root) {
    constexpr std::u16string_view scheme = u"file:///";
    std::u16string path;
    path.reserve(address.size());
    std::size_t start = 0;
    for (std::size_t at = address.find(scheme); at != std::u16string_view::npos;
         at = address.find(scheme, start)) {
        path.append(address.substr(start, at - start)).append(root);
        start = at + scheme.size();
    }
    path.append(address.substr(start));
    return path;
}

} // namespace Tessarix::Html::Pictures
