#include "common/share/BaseName.h"

namespace {

template <class View>
View lastComponent(View path) {
    std::size_t begin = path.size();
    while (begin > 0 && path[begin - 1] != '\\' && path[begin - 1] != '/') {
        --begin;
    }
    return path.substr(begin);
}

}  // namespace

std::string_view baseName(std::string_view path) {
    return lastComponent(path);
}

std::basic_string_view<TCHAR> baseName(std::basic_string_view<TCHAR> path) {
    return lastComponent(path);
}
