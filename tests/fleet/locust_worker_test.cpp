#include "pellion/fleet/locust_worker.h"

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <msgpack.hpp>
#include <sstream>
#include <zmq.hpp>

#include "pellion/text/input_error.h"
#include "tests/support/temporary_directory.h"

namespace pellion {
namespace {

using namespace testing;
using namespace std::chrono_literals;

/// Locust's master as far as one worker sees it: a ROUTER on a port of loopback.
class Master {
 public:
  explicit Master(const std::string& endpoint = "tcp://127.0.0.1:*") {
    router_.set(zmq::sockopt::linger, 1000);
    router_.set(zmq::sockopt::router_mandatory, true);
    router_.bind(endpoint);
  }
  std::string endpoint() { return router_.get(zmq::sockopt::last_endpoint); }

  /// The next message as text like JSON, without its frame's address.
  std::optional<std::string> receive() {
    zmq::message_t part;
    if (!router_.recv(part, zmq::recv_flags::dontwait)) return std::nullopt;
    worker_ = part.to_string();
    EXPECT_TRUE(router_.recv(part));
    std::ostringstream text;
    text << msgpack::unpack(static_cast<const char*>(part.data()), part.size()).get();
    return text.str();
  }
  /// Whether it has a connection of the worker; the worker passes over such a message.
  bool isConnected() {
    try {
      order("heartbeat");
      return true;
    } catch (const zmq::error_t&) {
      return false;
    }
  }
  void send(const std::string& bytes) {
    router_.send(zmq::buffer(worker_), zmq::send_flags::sndmore);
    router_.send(zmq::buffer(bytes));
  }
  /// Packs [type, data, worker].
  template <class Data>
  void order(const char* type, const Data& data) {
    msgpack::sbuffer bytes;
    msgpack::packer<msgpack::sbuffer> packer(bytes);
    packer.pack_array(3).pack(type);
    data(packer);
    packer.pack(worker_);
    send({bytes.data(), bytes.size()});
  }
  void order(const char* type) {
    order(type, [](auto& packer) { packer.pack_nil(); });
  }
  void acknowledge(int index) {
    order("ack", [index](auto& packer) { packer.pack(std::map<std::string, int>{{"index", index}}); });
  }
  void spawn(const std::map<std::string, int>& counts, double timestamp) {
    order("spawn", [&](auto& packer) {
      packer.pack_map(4);
      packer.pack("timestamp").pack(timestamp);
      packer.pack("user_classes_count").pack(counts);
      packer.pack("host").pack("http://host");
      packer.pack("stop_timeout").pack_nil();
    });
  }

 private:
  zmq::context_t context_;
  zmq::socket_t router_{context_, zmq::socket_type::router};
  std::string worker_;
};

/// A worker in front of a master, both turned by the test. The worker's time passes only when the test says so.
class LocustWorkers : public Test {
 protected:
  LocustWorkers() {
    const std::string path = directory_.path() / "p.json";
    std::ofstream(path) << R"({"kinds": [{"name": "one app", "life": {"steps": ["launch", {"token": "0a"}]}},
                                         {"name": "two", "life": {"steps": ["launch"]}}]})";
    plan_ = readFleetPlan(path);
    worker_.emplace(
        plan_, LocustWorker::Options{.endpoint = endpoint_,
                                     .id = "w",
                                     .makeFleet =
                                         [this](const std::optional<std::string>& host, std::uint64_t first) {
                                           made_.push_back(host.value_or("") + ' ' + std::to_string(first));
                                           if (!refusal_.empty()) throw InputError(refusal_);
                                           return std::make_unique<Fleet>(plan_, Fleet::Options{.firstNumber = first});
                                         },
                                     .checkPhones =
                                         [](std::size_t phones) {
                                           if (phones > 100) throw InputError("too many");
                                         },
                                     .say = [this](const std::string& text) { said_.push_back(text); }});
  }

  /// Lets both sides go on until this is so.
  template <class Condition>
  bool until(const Condition& condition) {
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      worker_->turn(now_, 2ms);
      while (master_) {
        const auto message = master_->receive();
        if (!message) break;
        received_.push_back(*message);
      }
    }
    return true;
  }
  /// The next message of the worker that has this text; forgets those before it.
  std::string await(const std::string& text) {
    std::string found;
    EXPECT_TRUE(until([&] {
      while (!received_.empty() && found.empty()) {
        if (received_.front().find(text) != std::string::npos) found = received_.front();
        received_.erase(received_.begin());
      }
      return !found.empty();
    })) << "no message has: "
        << text;
    return found;
  }
  void begin(int index = 0) {
    await("client_ready");
    master_->acknowledge(index);
  }
  void run(const std::map<std::string, int>& counts, double timestamp) {
    master_->spawn(counts, timestamp);
    await("spawning_complete");
  }
  void loseMaster() {
    master_.reset();
    ASSERT_TRUE(until([this] { return !said_.empty() && said_.back().find("is gone") != std::string::npos; }));
  }
  /// The sum of `member` of the totals of this message and of later ones, until it is as great as wanted.
  int total(const char* member, int wanted) {
    int sum = 0;
    while (sum < wanted && !HasFailure()) {
      now_ += 3s;
      const std::string stats = await(R"(["stats")");
      const std::string name = std::string("\"") + member + "\":";
      sum += std::stoi(stats.substr(stats.find(name, stats.find("stats_total")) + name.size()));
    }
    return sum;
  }

  const test::TemporaryDirectory directory_;
  FleetPlan plan_;
  std::optional<Master> master_{std::in_place};
  const std::string endpoint_ = master_->endpoint();
  FleetTime now_ = std::chrono::steady_clock::now();
  std::string refusal_;
  std::vector<std::string> made_;  ///< host and first number of each fleet
  std::vector<std::string> said_;
  std::vector<std::string> received_;
  std::optional<LocustWorker> worker_;
};

TEST_F(LocustWorkers, PlayAsManyPhonesAsTheirMasterSays) {
  EXPECT_EQ(await("client_ready"), R"(["client_ready",-1,"w"])");
  master_->acknowledge(3);
  master_->spawn({{"OneApp", 2}, {"Two", 0}}, 10);
  EXPECT_EQ(await("spawning"), R"(["spawning",null,"w"])");
  EXPECT_THAT(await("spawning_complete"), HasSubstr(R"({"user_classes_count":{"OneApp":2,"Two":0},"user_count":2})"));
  EXPECT_THAT(made_, ElementsAre("http://host 30000000"));
  EXPECT_EQ(total("num_requests", 2), 2);

  master_->spawn({{"OneApp", 3}, {"Two", 3}}, 9.5);
  master_->spawn({{"OneApp", 1}, {"Two", 4}}, 11);
  EXPECT_THAT(await("spawning_complete"), HasSubstr(R"("OneApp":1,"Two":4)")) << "an older order comes too late";
  EXPECT_EQ(worker_->phones(), 5U);

  master_->order("stop");
  EXPECT_THAT(await(R"(["stats")"), HasSubstr(R"("user_count":0)"));
  await("client_stopped");
  begin(3);
  EXPECT_EQ(worker_->phones(), 0U);
  run({{"OneApp", 1}}, 12);
  EXPECT_EQ(made_.size(), 2U) << "a run is a fleet of its own";
  EXPECT_EQ(total("num_requests", 1), 1) << "those of the run before are reported";

  master_->order("quit");
  await(R"(["quit")");
  EXPECT_TRUE(worker_->hasEnded() && !worker_->isAbandoned());
  EXPECT_EQ(worker_->takeFigures().total().requests[Ending::accepted], 3U);
}

TEST_F(LocustWorkers, SendAHeartbeatEachSecond) {
  begin();
  EXPECT_THAT(await("heartbeat"), HasSubstr(R"("state":"ready")"));
  run({{"Two", 1}}, 1);
  for (int second = 0; second < 3; ++second) {
    now_ += 1s;
    EXPECT_THAT(await("heartbeat"), HasSubstr(R"("state":"running")"));
  }
  EXPECT_THAT(received_, Each(Not(HasSubstr("heartbeat"))));
}

TEST_F(LocustWorkers, AskOverAnotherConnectionUntilTheyAreKnown) {
  await("client_ready");
  now_ += 11s;
  ASSERT_TRUE(until([this] { return !master_->isConnected(); }));
  received_.clear();
  ASSERT_TRUE(until([this] {  // a master may still hold the old connection, and then misses a question
    now_ += 100ms;
    return !received_.empty();
  }));
  master_->acknowledge(0);
  ASSERT_TRUE(until([this] { return !said_.empty(); }));
  received_.clear();
  now_ += 11s;
  await("heartbeat");
  EXPECT_THAT(received_, Each(Not(HasSubstr("client_ready"))));
}

TEST_F(LocustWorkers, RefuseWhatTheyCannotPlay) {
  begin();
  master_->spawn({{"OneApps", 1}}, 1);
  EXPECT_THAT(await("exception"), HasSubstr(R"(no kind of phones for the class \"OneApps\")"));
  EXPECT_THAT(await("spawning_complete"), HasSubstr(R"("user_count":0)"));
  run({{"OneApp", 1}}, 2);
  EXPECT_THAT(received_, Each(Not(HasSubstr("exception")))) << "each step of a ramp has the same mistake";
  EXPECT_TRUE(made_.empty());
  master_->order("stop");
  begin();

  refusal_ = "no such server";
  run({{"OneApp", 1}}, 3);
  EXPECT_THAT(said_, Contains("no such server"));
  refusal_.clear();
  master_->order("stop");
  begin();
  run({{"OneApp", 2}}, 4);
  master_->spawn({{"OneApp", 101}}, 5);
  EXPECT_THAT(await("exception"), HasSubstr("too many"));
  EXPECT_THAT(await("spawning_complete"), HasSubstr(R"("user_count":2)"));
}

TEST_F(LocustWorkers, PassOverWhatIsNoOrder) {
  begin();
  master_->send("\xc1");
  master_->order("holiday");
  master_->order("heartbeat");
  run({{"Two", 1}}, 1);
  EXPECT_THAT(said_,
              ElementsAre(HasSubstr("worker 0 of"), HasSubstr("a message of 1 bytes"), HasSubstr("\"holiday\"")));
}

TEST_F(LocustWorkers, TakeANewConnectionWhenTheMasterWantsOne) {
  begin();
  run({{"Two", 2}}, 1);
  master_->order("reconnect");
  ASSERT_TRUE(until([this] { return !master_->isConnected(); }));
  now_ += 1s;
  await("client_stopped");
  begin();
  run({{"Two", 3}}, 2);
  EXPECT_EQ(made_.size(), 1U) << "the phones have gone on";
}

/// What a master does that comes back soon, and how many fleets there have been then.
struct Return {
  const char* name;
  int index;
  std::size_t fleets;
};
class ReturnOfTheMaster : public LocustWorkers, public WithParamInterface<Return> {};

TEST_P(ReturnOfTheMaster, MayTakeThePhonesOver) {
  begin(1);
  run({{"OneApp", 2}}, 100);
  EXPECT_EQ(total("num_requests", 2), 2);
  loseMaster();
  EXPECT_THAT(said_.back(), HasSubstr("it has received 2 requests; the phones go on for 10 s"));
  EXPECT_EQ(worker_->phones(), 2U);
  now_ += 9s;  // they go on for ten
  master_.emplace(endpoint_);
  await("client_stopped");
  begin(GetParam().index);
  run({{"OneApp", 3}}, 1);  // its clock may be behind that of the master before
  EXPECT_EQ(made_.size(), GetParam().fleets);
  now_ += 9s;
  await("heartbeat");
  EXPECT_EQ(worker_->phones(), 3U);
}

// With another number, the phones would have identities of another worker's phones.
INSTANTIATE_TEST_SUITE_P(, ReturnOfTheMaster, Values(Return{"WithTheSameNumber", 1, 1}, Return{"WithAnother", 0, 2}),
                         [](const auto& each) { return each.param.name; });

TEST_F(LocustWorkers, EndTheirPhonesWhereNoMasterAsksForThem) {
  begin();
  run({{"OneApp", 2}}, 1);
  loseMaster();
  now_ += 11s;
  ASSERT_TRUE(until([this] { return worker_->phones() == 0; }));
  master_.emplace(endpoint_);
  begin();
  run({{"OneApp", 1}}, 1);
  EXPECT_EQ(made_.size(), 2U);
  master_.reset();
  now_ += 1s;
  ASSERT_TRUE(until([this] { return said_.back().find("is gone") != std::string::npos; }));
  now_ += 600s;
  ASSERT_TRUE(until([this] { return worker_->hasEnded(); }));
  EXPECT_TRUE(worker_->isAbandoned());
}

TEST_F(LocustWorkers, EndInOrderWhenTheyAreAsked) {
  begin();
  run({{"OneApp", 1}}, 1);
  ASSERT_EQ(total("num_requests", 1), 1);
  worker_->quit();
  EXPECT_THAT(await(R"(["stats")"), HasSubstr(R"("user_count":0)"));
  await(R"(["quit")");
  EXPECT_TRUE(worker_->hasEnded());
}

TEST(LocustWorkerPlans, HaveAClassForEachKind) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"name": "a b", "life": {"steps": ["launch"]}}, {"name": "A  B", "life": {"steps": ["launch"]}})",
       "p.json: the kind \"A  B\" and \"a b\" would both be the class AB of Locust; give them other names"},
      {R"({"name": "17", "life": {"steps": ["launch"]}})",
       "p.json: the kind \"17\" has no name for a class of Locust; begin it with a letter"}};
  const test::TemporaryDirectory directory;
  const std::string path = directory.path() / "p.json";
  for (const auto& [kinds, wanted] : cases) {
    std::ofstream(path) << R"({"kinds": [)" << kinds << "]}";
    const FleetPlan plan = readFleetPlan(path);
    EXPECT_THAT([&plan] { LocustWorker(plan, {}); }, ThrowsMessage<InputError>(HasSubstr(wanted)));
  }
}

}  // namespace
}  // namespace pellion
