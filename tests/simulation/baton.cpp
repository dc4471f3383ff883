#include "tests/simulation/baton.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "tests/simulated/core.h"

namespace veltrane::simulation {
namespace {

Baton* current_baton = nullptr;

ExceptionState ExchangeExceptions(const ExceptionState& state) {
  ExceptionState before;
  void* live = abi::__cxa_get_globals();
  std::memcpy(&before, live, sizeof(before));
  std::memcpy(live, &state, sizeof(state));
  return before;
}

}  // namespace

std::string RoleText(Role role) {
  switch (role) {
    case Role::kMain:
      return "main";
    case Role::kServiceMain:
      return "service main";
    case Role::kPipe:
      return "pipe";
    case Role::kTimer:
      return "timer";
    case Role::kHandler:
      return "handler";
    case Role::kActor:
      return "actor";
  }
  return "?";
}

Stack::Stack()
    : memory_(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
  if (memory_ == MAP_FAILED) simulated::Die("no memory for a stack");
}

Stack::~Stack() { munmap(memory_, kBytes); }

Baton::Baton(Random& random, std::function<std::int64_t()> now)
    : random_(random), now_(std::move(now)) {
  if (current_baton != nullptr) simulated::Die("there are two batons");
  current_baton = this;
}

Baton::~Baton() { current_baton = nullptr; }

Baton* Baton::Current() { return current_baton; }

std::uint64_t Baton::Start(Role role, const std::string& name, std::function<void()> body) {
  auto thread = std::make_unique<Thread>();
  thread->id = ++last_id_;
  thread->role = role;
  thread->name = name;
  thread->body = std::move(body);
  if (free_stacks_.empty()) free_stacks_.push_back(std::make_unique<Stack>());
  thread->stack = std::move(free_stacks_.back());
  free_stacks_.pop_back();
  getcontext(&thread->context);
  thread->context.uc_stack.ss_sp = thread->stack->Memory();
  thread->context.uc_stack.ss_size = Stack::kBytes;
  thread->context.uc_link = nullptr;
  makecontext(&thread->context, &Baton::Enter, 0);
  threads_.push_back(std::move(thread));
  return last_id_;
}

void Baton::Enter() {
  Thread& thread = *current_baton->running_;
  [&thread]() noexcept { thread.body(); }();
  thread.done = true;
  current_baton->GiveBack();
  simulated::Die("a thread that had ended was given the baton");
}

bool Baton::CanGoOn(const Thread& thread) const {
  if (thread.awaited) return thread.awaited();
  return !thread.deadline || *thread.deadline <= now_();
}

bool Baton::Turn() {
  std::vector<Thread*> ready;
  for (const auto& thread : threads_) {
    if (CanGoOn(*thread)) ready.push_back(thread.get());
  }
  if (ready.empty()) return false;
  Run(*random_.Pick(ready));
  Reap();
  return true;
}

void Baton::Run(Thread& thread) {
  thread.awaited = nullptr;
  thread.deadline.reset();
  running_ = &thread;
  const ExceptionState own = ExchangeExceptions(thread.exceptions);
  swapcontext(&home_, &thread.context);
  thread.exceptions = ExchangeExceptions(own);
  running_ = nullptr;
}

void Baton::Reap() {
  for (const auto& thread : threads_) {
    if (thread->done) free_stacks_.push_back(std::move(thread->stack));
  }
  std::erase_if(threads_, [](const auto& thread) { return thread->done; });
}

std::optional<std::int64_t> Baton::NextDeadline() const {
  std::optional<std::int64_t> next;
  for (const auto& thread : threads_) {
    if (thread->deadline) next = std::min(next.value_or(*thread->deadline), *thread->deadline);
  }
  return next;
}

std::size_t Baton::Count(Role role) const {
  return static_cast<std::size_t>(
      std::count_if(threads_.begin(), threads_.end(),
                    [role](const auto& thread) { return thread->role == role; }));
}

const Thread* Baton::Find(Role role) const {
  for (const auto& thread : threads_) {
    if (thread->role == role) return thread.get();
  }
  return nullptr;
}

void Baton::AbandonProgram() {
  for (const auto& thread : threads_) thread->done = thread->role != Role::kActor;
  Reap();
}

void Baton::GiveBack() { swapcontext(&running_->context, &home_); }

void Baton::Yield() {
  if (quiet_ == 0) GiveBack();
}

void Baton::WaitUntil(std::function<bool()> ready) {
  if (ready()) return;
  running_->awaited = std::move(ready);
  GiveBack();
}

void Baton::SleepUntil(std::int64_t ticks) {
  running_->deadline = ticks;
  GiveBack();
}

void Baton::NeverReturn() {
  running_->awaited = [] { return false; };
  GiveBack();
  simulated::Die("a thread was resumed that had been left");
}

bool Baton::Join(std::uint64_t id) {
  for (const auto& thread : threads_) {
    if (thread->joined == id) return false;
  }
  running_->joined = id;
  WaitUntil([this, id] { return HasEnded(id); });
  running_->joined = 0;
  return true;
}

bool Baton::HasEnded(std::uint64_t id) const {
  return std::none_of(threads_.begin(), threads_.end(),
                      [id](const auto& thread) { return thread->id == id && !thread->done; });
}

}  // namespace veltrane::simulation
