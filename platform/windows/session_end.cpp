#include "platform/windows/session_end.h"

namespace veltrane {
namespace {

constexpr wchar_t kWindowClass[] = L"VeltraneWatchdog";
constexpr wchar_t kReason[] = L"VeltraneVpn: the connection is being undone";
constexpr UINT kLeave = WM_APP;

UniqueHandle MakeEvent() { return UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr)); }

}  // namespace

DWORD SessionEnd::Begin() {
  must_end_ = MakeEvent();
  done_ = MakeEvent();
  begun_ = MakeEvent();
  if (!must_end_ || !done_ || !begun_) return ERROR_NOT_ENOUGH_MEMORY;
  thread_ = std::thread([this] { Serve(); });
  WaitForSingleObject(begun_.get(), INFINITE);
  return error_;
}

SessionEnd::~SessionEnd() {
  if (!thread_.joinable()) return;
  SetEvent(done_.get());
  if (window_ != nullptr) PostMessageW(window_, kLeave, 0, 0);
  thread_.join();
}

void SessionEnd::Serve() {
  WNDCLASSW window_class{};
  window_class.lpfnWndProc = Receive;
  window_class.hInstance = GetModuleHandleW(nullptr);
  window_class.lpszClassName = kWindowClass;
  RegisterClassW(&window_class);  // fails when it is registered already
  window_ = CreateWindowExW(0, kWindowClass, L"", WS_OVERLAPPED, 0, 0, 0, 0, nullptr, nullptr,
                            window_class.hInstance, nullptr);
  if (window_ == nullptr) {
    error_ = GetLastError() != 0 ? GetLastError() : ERROR_INVALID_WINDOW_HANDLE;
    SetEvent(begun_.get());
    return;
  }
  SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  SetEvent(begun_.get());
  MSG message{};
  while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
  DestroyWindow(window_);
}

LRESULT CALLBACK SessionEnd::Receive(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  auto* self = reinterpret_cast<SessionEnd*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) return DefWindowProcW(window, message, wparam, lparam);
  switch (message) {
    case WM_QUERYENDSESSION:
      ShutdownBlockReasonCreate(window, kReason);
      SetEvent(self->must_end_.get());
      return TRUE;
    case WM_ENDSESSION:
      // The process may be ended as soon as this message has been answered.
      if (wparam != FALSE) {
        SetEvent(self->must_end_.get());
        WaitForSingleObject(self->done_.get(), INFINITE);
        ShutdownBlockReasonDestroy(window);
      }
      return 0;
    case WM_CLOSE:
      SetEvent(self->must_end_.get());
      return 0;
    case kLeave:
      ShutdownBlockReasonDestroy(window);
      PostQuitMessage(0);
      return 0;
    default:
      return DefWindowProcW(window, message, wparam, lparam);
  }
}

}  // namespace veltrane
