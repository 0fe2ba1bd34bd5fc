// What publishers cost, without their socket: a changed reading, and all of a switch, said by a publisher and by the
// inventory file.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/publishers/Publishers.h"
#include "runtime/reactors/Clock.h"

namespace {

// Chassis of about so many rows.
constexpr struct {
  long rows;
  char const* arguments;
} sizes[] = {
    {1'000, "--slots 2 --ports 32 --transceivers 22"},
    {10'000, "--slots 12 --ports 48 --transceivers 36"},
    {100'000, "--slots 59 --ports 128 --transceivers 63"},
};

std::string const& described(long rows) {
  static std::map<long, std::string> texts;
  std::string& text = texts[rows];
  if (text.empty()) {
    auto const* const size =
        std::find_if(std::begin(sizes), std::end(sizes), [&](auto const& each) { return each.rows == rows; });
    std::FILE* const made = popen(("examples/make-chassis " + std::string(size->arguments)).c_str(), "r");
    for (int character = std::fgetc(made); character != EOF; character = std::fgetc(made))
      text += static_cast<char>(character);
    if (pclose(made) != 0) std::abort();
  }
  return text;
}

struct Agent {
  explicit Agent(long rows) {
    publishers.came(1, {});
    nlohmann::json const content = nlohmann::json::parse(described(rows));
    nlohmann::json greeting{{"publisher", "bench"}};
    for (auto const& [input, below] : content.items()) greeting["claims"].push_back(input);
    tell(greeting.dump());
    whole = nlohmann::json{{"set", content}}.dump();
  }
  void tell(std::string const& line) {
    if (publishers.answer(1, line) != "{\"ok\":true}") std::abort();
  }
  double rows() const {
    double count = 0;
    for (auto at = system.root()->entityMib()->physicalEntityIteratorConst(); at; ++at) ++count;
    return count;
  }

  Host::Bootstrap system;
  Host::Publishers publishers{Host::inputTypes(), system, Zef::make<Zef::Clock>("bench"), [](auto, auto const&) {}};
  std::string whole;
};

void oneReading(benchmark::State& state) {
  Agent agent(state.range(0));
  agent.tell(agent.whole);
  unsigned reading = 0;
  for (auto _ : state) {
    agent.tell(R"({"patch":{"tempStatus":{"tempSensor":{"TempSensor3/1":{"temperature":)" +
               std::to_string(20 + ++reading % 20) + "}}}}}");
  }
  state.counters["rows"] = agent.rows();
}

void wholeSwitchAgain(benchmark::State& state) {
  Agent agent(state.range(0));
  agent.tell(agent.whole);
  for (auto _ : state) agent.tell(agent.whole);
  state.counters["rows"] = agent.rows();
}

// `say` says all of a switch to an agent that has nothing yet.
template <class Call>
void first(benchmark::State& state, Call const& say) {
  for (auto _ : state) {
    state.PauseTiming();
    auto agent = std::make_unique<Agent>(state.range(0));
    state.ResumeTiming();
    say(*agent);
    state.PauseTiming();
    agent.reset();
    state.ResumeTiming();
  }
}

void wholeSwitchFirst(benchmark::State& state) {
  first(state, [](Agent& agent) { agent.tell(agent.whole); });
}

void fileFirst(benchmark::State& state) {
  first(state, [&](Agent& agent) {
    agent.tell("{\"bye\":true}");
    agent.publishers.fileIs(described(state.range(0)));
  });
}

void eachSize(benchmark::internal::Benchmark* benchmark) {
  for (auto const& size : sizes) benchmark->Arg(size.rows);
  benchmark->Unit(benchmark::kMicrosecond);
}
BENCHMARK(oneReading)->Apply(eachSize);
BENCHMARK(wholeSwitchAgain)->Apply(eachSize);
BENCHMARK(wholeSwitchFirst)->Apply(eachSize);
BENCHMARK(fileFirst)->Apply(eachSize);

}  // namespace
