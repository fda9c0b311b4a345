#include "arguments.h"

#if defined(_WIN32)
#include <windows.h>
// shellapi.h needs windows.h first.
#include <shellapi.h>

#include "utf8.h"
#endif

namespace quorvane::cli {

Utf8Arguments::Utf8Arguments(int argc, char** argv) {
#if defined(_WIN32)
  int count = 0;
  if (wchar_t** wide = CommandLineToArgvW(GetCommandLineW(), &count); wide != nullptr) {
    for (int i = 0; i < count; ++i) {
      texts_.push_back(Utf8(wide[i]));
    }
    LocalFree(wide);
  }
#endif
  if (texts_.empty()) {
    texts_.assign(argv, argv + argc);
  }
  for (auto& text : texts_) {
    pointers_.push_back(text.data());
  }
}

}  // namespace quorvane::cli
