#include "synchost/session.h"

#include <utility>

#include "text/text.h"

namespace synchost {
namespace {

constexpr std::uint8_t kServerType = 's';

bool isPacket(vorne::Bytes body) {
  return body.size() >= vorne::kSentHead;
}

std::string withoutBlanks(const std::string& text) {
  return std::string(tool::trimmed(text));
}

// Devices keep theirs in capitals.
bool isGroup(const std::string& wanted, const std::string& told) {
  return tool::upperCase(wanted) == tool::upperCase(withoutBlanks(told));
}

}  // namespace

void Session::receive(vorne::Bytes bytes) {
  input_.insert(input_.end(), bytes.begin(), bytes.end());
  vorne::Bytes left = input_;
  Request request = {};
  while (!ended()) {
    const Framing framing = TakeRequest(left, request);
    if (framing == Framing::kNeedsMore) break;
    if (framing == Framing::kBroken)
      end("no frame of a device");
    else if (std::exchange(answering_, true))
      end("a request before the last one was answered");
    else
      handle(request);
  }
  // A frame's size is bounded, so is what is left of one.
  input_.erase(input_.begin(), input_.end() - static_cast<std::ptrdiff_t>(ended() ? 0 : left.size()));
}

void Session::handle(const Request& request) {
  order_ = request.order;
  const vorne::Request code = CodeOf(request.body).value_or(vorne::Request::Farewell);
  if (phase_ == Phase::kLogin) {
    if (code != vorne::Request::Login) return end("no login");
    return logIn(request.body);
  }
  if (code == vorne::Request::Table && upload_ && isPacket(request.body)) return takePacket(request.body);
  if (code == vorne::Request::Table) return requestTable();
  if (code == vorne::Request::Images) return sendImages();
  settle();
  switch (code) {
    case vorne::Request::CountTasks:
      return countTasks();
    case vorne::Request::FetchTask:
      return fetchTask(TaskNumberIn(request.body));
    case vorne::Request::Farewell:
      succeeded_ = true;
      return end("done");
    default:
      return end("an unknown request");
  }
}

void Session::refuse(const std::string& text) {
  Reply(vorne::kHostError).text(text).appendTo(output_);
}

void Session::logIn(vorne::Bytes body) {
  const auto login = ParseLogin(body);
  if (!login) return end("a login that ends too early");
  const std::string id = withoutBlanks(login->device);
  const auto known = store_->device(id);
  const char* refusal = nullptr;
  if (login->protocol != kProtocol || login->version != kVersion)
    refusal = "Versão incompatível com a do servidor, que é 6.0.0.";
  else if (!known)
    refusal = "Dispositivo não cadastrado no servidor.";
  else if (!known->enabled)
    refusal = "Dispositivo bloqueado no servidor.";
  else if (!known->group.empty() && !isGroup(known->group, login->group))
    refusal = "Dispositivo não pertence a este grupo.";
  if (refusal != nullptr) {
    refuse(refusal);
    return end("refused \"" + id + "\": " + refusal);
  }
  device_ = id;
  compress_ = login->compress;
  // It may have been replaced or set up anew: whatever it had is gone.
  if (login->isBlank) store_->forget(device_);
  catalogue_ = store_->catalogueChange();
  tables_ = store_->tables();
  phase_ = Phase::kReady;
  Reply(vorne::kDone).text(kVersion).byte(kServerType).byte(vorne::kMarksPackDatabase).appendTo(output_);
}

void Session::countTasks() {
  current_ = nullptr;
  plan_ = PlanFor(*store_, device_, tables_, catalogue_);
  Reply(vorne::kDone).text(std::to_string(plan_.size())).appendTo(output_);
}

void Session::fetchTask(std::uint32_t number) {
  if (number == 0 || number > plan_.size()) {
    refuse("Tarefa inexistente.");
    return end("a task that does not exist");
  }
  announce(plan_[number - 1]);
}

Reply Session::taskReply(Operation operation) const {
  return Reply(vorne::kDone).byte(static_cast<std::uint8_t>(operation)).byte(0);
}

void Session::announce(const PlannedTask& task) {
  current_ = &task;
  switch (task.step) {
    case Step::kCatalogue:
      download_.emplace(task.place, tables_, catalogue_, compress_);
      return announceDownload();
    case Step::kDownload:
      download_.emplace(*store_, tables_[task.place], device_, compress_);
      return announceDownload();
    case Step::kUpload:
      upload_.emplace(tables_[task.place], device_);
      return taskReply(Operation::kToHost).text(upload_->name()).appendTo(output_);
    case Step::kDelete:
      return taskReply(Operation::kDelete).text(task.queued.front().name).appendTo(output_);
    case Step::kInstall:
      return taskReply(Operation::kInstall).text(task.queued.front().name).appendTo(output_);
    case Step::kImages:
      return taskReply(Operation::kImages).text(task.queued.front().name).appendTo(output_);
  }
}

void Session::announceDownload() {
  if (download_->empties()) return taskReply(Operation::kDelete).text(download_->name()).appendTo(output_);
  taskReply(Operation::kToDevice)
      .text(download_->name())
      .number32(static_cast<std::uint32_t>(download_->count()), order_)
      .byte(static_cast<std::uint8_t>(download_->type()))
      .appendTo(output_);
}

void Session::requestTable() {
  if (!download_ || download_->ended()) return end("a request for a table that was not announced");
  download_->begin(*store_);
  phase_ = Phase::kStreaming;
}

void Session::send() {
  if (!hasMore()) return;
  const std::int64_t before = download_->sent();
  download_->stream(*store_, output_);
  totals_.rowsSent += download_->sent() - before;
  if (download_->ended()) phase_ = Phase::kReady;
}

void Session::sendImages() {
  if (current_ == nullptr || current_->step != Step::kImages || imagesSent_)
    return end("a request for images that were not announced");
  for (const QueuedTask& task : current_->queued) {
    const Blob image = store_->image(task.name);
    const Reply frame = Reply(vorne::kDone)
                            .byte(0)
                            .text(task.name)
                            .number16(static_cast<std::uint16_t>(image.size()), order_)
                            .bytes(image);
    if (frame.size() > kLargestFrame) continue;  // put there by hand: no device would take it
    frame.appendTo(output_);
    ++totals_.images;
  }
  Reply(vorne::kDone).byte(vorne::kNothingMore).appendTo(output_);
  imagesSent_ = true;
}

void Session::takePacket(vorne::Bytes body) {
  const std::int64_t received = upload_->received(), passedOver = upload_->passedOver();
  if (const std::string problem = upload_->take(*store_, body); !problem.empty()) {
    refuse("Pacote inválido.");
    return end(problem);
  }
  totals_.rowsReceived += upload_->received() - received;
  totals_.rowsPassedOver += upload_->passedOver() - passedOver;
  Reply(vorne::kDone).appendTo(output_);
}

// A device goes on only when it has done what it was told: its next request is its word for that.
void Session::settle() {
  if (download_) download_->confirm(*store_, device_);
  if (upload_) upload_->conclude(*store_);
  const bool isDone = current_ != nullptr && (current_->step != Step::kImages || imagesSent_);
  if (isDone) {
    for (const QueuedTask& task : current_->queued) {
      store_->taskDone(task.number);
      if (task.kind != TaskKind::kDelete) continue;
      for (const Table& table : tables_)
        if (table.name == task.name) store_->forget(device_, table.number);
    }
  }
  download_.reset();
  upload_.reset();
  current_ = nullptr;
  imagesSent_ = false;
}

std::vector<char> Session::takeOutput() {
  return std::exchange(output_, {});
}

}  // namespace synchost
