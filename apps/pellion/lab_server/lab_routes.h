#pragma once

#include <span>
#include <string>

#include "pellion/lab/lab.h"
#include "pellion/lab_server/lab_explainer.h"
#include "pellion/lab_server/lab_page.h"
#include "pellion/lab_server/lab_request.h"

namespace pellion {

/// What the lab replies to the requests that it lets in: the files of the page and, as JSON, the documents of
/// docs/lab.schema.json. All operations are safe from any thread.
class LabRoutes {
 public:
  explicit LabRoutes(std::span<const LabPageFile> page);

  LabReply reply(const LabRequest& request);
  [[nodiscard]] Lab& lab() { return lab_; }

 private:
  struct Route;
  static std::span<const Route> routes();

  LabReply run(const LabRequest& request);
  LabReply openPhone(const LabRequest& request);
  LabReply explain(const LabRequest& request);
  LabReply fix(const LabRequest& request);
  [[nodiscard]] LabReply replyWithFile(const LabRequest& request) const;

  std::span<const LabPageFile> files_;
  std::string page_;  ///< the file "/"
  Lab lab_;
  LabExplainer explainer_;
};

}  // namespace pellion
