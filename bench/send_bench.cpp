#include <benchmark/benchmark.h>

#include <array>
#include <memory>
#include <random>
#include <utility>
#include <vector>

#include "platform/class_face.h"
#include "tests/support/test_process.h"

// Compares a message with the simplest dynamic call. Both loops do the same to the same targets: only the call differs.
// The order of sixteen targets is random and too long for branch prediction to learn.

namespace {

constexpr std::size_t classCount = 16;
constexpr std::size_t orderLength = 1U << 14U;

struct Target {
  virtual ~Target() = default;
  virtual std::int64_t add(std::int64_t number) = 0;
};

template <std::size_t N>
struct TargetOf : Target {
  std::int64_t add(std::int64_t number) override { return number + static_cast<std::int64_t>(N); }
};

template <std::size_t N>
struct Receiver {
  static constexpr std::array<char, 3> name{'T', static_cast<char>('A' + N), '\0'};
  static constexpr const char* className = name.data();
  static void defineClass(platform::ClassFace<Receiver>& face) { face.template method<&Receiver::add>("add:"); }
  std::int64_t add(std::int64_t number) { return number + static_cast<std::int64_t>(N); }
};

template <std::size_t... N>
std::vector<std::unique_ptr<Target>> makeTargets(std::index_sequence<N...>) {
  std::vector<std::unique_ptr<Target>> targets;
  (targets.push_back(std::make_unique<TargetOf<N>>()), ...);
  return targets;
}

template <std::size_t... N>
std::vector<platform::Strong> makeReceivers(std::index_sequence<N...>) {
  return {platform::makeObject<Receiver<N>>()...};
}

std::vector<std::size_t> makeOrder(std::size_t targets) {
  std::mt19937 random(1);
  std::uniform_int_distribution<std::size_t> choice(0, targets - 1);
  std::vector<std::size_t> order(orderLength);
  for (std::size_t& each : order) each = choice(random);
  return order;
}

template <std::size_t targetCount, class Pointer, class Call>
void callAll(benchmark::State& state, const std::vector<Pointer>& targets, Call call) {
  std::vector<decltype(targets[0].get())> order;
  for (const std::size_t each : makeOrder(targetCount)) {
    order.push_back(targets[each].get());
  }
  std::int64_t sum = 0;
  std::size_t next = 0;
  for (auto _ : state) {
    sum = call(order[next], sum);
    next = (next + 1) % orderLength;
  }
  benchmark::DoNotOptimize(sum);
}

template <std::size_t targetCount>
void virtualCall(benchmark::State& state) {
  callAll<targetCount>(state, makeTargets(std::make_index_sequence<classCount>()),
                       [](Target* target, std::int64_t number) { return target->add(number); });
}

template <std::size_t targetCount>
void send(benchmark::State& state) {
  const test::TestProcess process;
  const SEL add = sel_registerName("add:");
  callAll<targetCount>(state, makeReceivers(std::make_index_sequence<classCount>()),
                       [add](id target, std::int64_t number) {
                         return platform::send<std::int64_t(std::int64_t)>(target, add, number);
                       });
}

BENCHMARK(virtualCall<1>)->Name("virtual_call/one_target");
BENCHMARK(send<1>)->Name("send/one_target");
BENCHMARK(virtualCall<16>)->Name("virtual_call/16_random_targets");
BENCHMARK(send<16>)->Name("send/16_random_targets");

}  // namespace
