#include "pellion/lab_server/lab_explainer.h"

#include <utility>

#include "pellion/lab/lab_action.h"
#include "pellion/text/json_reader.h"

namespace pellion {
namespace {

using platform::Value;

constexpr const char* payloadName = "payload";  // in messages

Value placeOf(const Position& position) {
  return Value::dictionary({{"line", position.line}, {"column", position.column}});
}
Value placeOf(const std::optional<Position>& position) { return position ? placeOf(*position) : Value(); }

/// The place in the JSON text that addInfo is, also where that text is wrong itself.
Value placeInAddInfo(const Place& place) {
  if (place.inText) return placeOf(place.inText->position);
  return place.path.ends_with(".addInfo") ? placeOf(place.inString) : Value();
}

Value documentOf(const Finding& finding) {
  return Value::dictionary({{"level", nameOf(finding.level)},
                            {"code", finding.code},
                            {"text", finding.text},
                            {"remedy", finding.remedy},
                            {"place", placeOf(finding.place.position)},
                            {"path", finding.place.path},
                            {"inAddInfo", placeInAddInfo(finding.place)},
                            {"fixable", !finding.correction.empty()}});
}

Value documentOf(const Explanation& explanation) {
  std::vector<Value> findings;
  for (const Finding& finding : explanation.findings) findings.push_back(documentOf(finding));
  std::vector<Value> summary;
  for (const SummaryLine& line : summaryOf(explanation)) {
    const std::string text = line.happenings.empty() ? line.outcome : line.happenings + ": " + line.outcome;
    summary.push_back(Value::dictionary({{"text", text}, {"good", line.isGood}}));
  }
  return Value::dictionary({{"bytes", explanation.size},
                            {"limit", explanation.limit},
                            {"unusable", Value()},
                            {"findings", Value::list(findings)},
                            {"summary", Value::list(summary)}});
}

Value unusable(const std::string& why, const std::optional<Position>& at, bool isFixable) {
  return Value::dictionary(
      {{"bytes", 0},
       {"limit", Explanation::largestPayload},
       {"unusable", Value::dictionary({{"text", why}, {"place", placeOf(at)}, {"fixable", isFixable}})},
       {"findings", Value::list({})},
       {"summary", Value::list({})}});
}

bool isTooLarge(const std::string& payload) { return payload.size() > LabExplainer::largestPayload; }

constexpr const char* tooLarge = "larger than 64 KiB; the push service takes 4096 bytes";

bool isRepairable(Explainer& explainer, const std::string& payload) {
  try {
    explainer.explain(payloadName, repairedJSON(payload), false);
    return true;
  } catch (const InputError&) {
    return false;
  }
}

}  // namespace

/// The Explainer of the last schemes, on the thread of all of them.
class LabExplainer::Kept {
 public:
  Explainer& with(const std::vector<std::string>& schemes) {
    if (explainer_ == nullptr || schemes != schemes_) {
      explainer_.reset();
      explainer_ = std::make_unique<Explainer>(ExplainOptions{.urlSchemes = schemes, .isForPage = true});
      schemes_ = schemes;
    }
    return *explainer_;
  }

 private:
  std::unique_ptr<Explainer> explainer_;
  std::vector<std::string> schemes_;
};

LabExplainer::LabExplainer() : thread_([this] { runOrders(); }) {}

LabExplainer::~LabExplainer() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

Value LabExplainer::explanation(const std::string& payload, const std::vector<std::string>& schemes) {
  if (isTooLarge(payload)) return unusable(tooLarge, std::nullopt, false);
  return run(schemes, [&](Explainer& explainer) {
    try {
      return documentOf(explainer.explain(payloadName, payload));
    } catch (const OtherDocument& error) {
      return unusable(otherDocument, error.position(), false);
    } catch (const DocumentError& error) {
      return unusable(error.text(), error.position(), isRepairable(explainer, payload));
    }
  });
}

Value LabExplainer::fixed(const std::string& payload, const std::vector<std::string>& schemes,
                          std::optional<std::size_t> finding) {
  if (isTooLarge(payload)) throw InputError(std::string(payloadName) + ": " + tooLarge);
  return run(schemes, [&](Explainer& explainer) {
    try {
      return Value::dictionary({{"payload", finding ? explainer.corrected(payloadName, payload, *finding)
                                                    : explainer.corrected(payloadName, payload)}});
    } catch (const OtherDocument&) {
      throw InputError(otherDocument);
    }
  });
}

Value LabExplainer::run(const std::vector<std::string>& schemes, const Work& work) {
  std::string refusal;
  Order order([&](Kept& kept) -> std::optional<Value> {
    try {
      return work(kept.with(schemes));
    } catch (const InputError& error) {  // stays on its thread: ThreadSanitizer cannot see who frees a shared exception
      refusal = error.what();
      return std::nullopt;
    }
  });
  std::future<std::optional<Value>> result = order.get_future();
  {
    const std::lock_guard lock(mutex_);
    orders_.push_back(std::move(order));
  }
  changed_.notify_all();
  std::optional<Value> document = result.get();
  if (!document) throw InputError(refusal);
  return *std::move(document);
}

void LabExplainer::runOrders() {
  Kept kept;
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return isEnding_ || !orders_.empty(); });
    if (orders_.empty()) return;
    Order order = std::move(orders_.front());
    orders_.pop_front();
    lock.unlock();
    order(kept);
    lock.lock();
  }
}

}  // namespace pellion
