// The loop of a content's process.

#include "host/content/ContentServer.h"

#include <errno.h>
#include <malloc.h>
#include <poll.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <new>
#include <utility>

#include "host/base/Check.h"
#include "host/content/sandbox/Sandbox.h"
#include "host/player/media/sound/SoundOutput.h"
#include "host/player/remote/SettingsText.h"

namespace plexion_host::content {

namespace {

using namespace player::remote;
using player::ContentKind;
using player::EngineError;

}  // namespace

ContentServer::ContentServer(CallPage& page, std::vector<std::string> libraries)
    : libraries_(std::move(libraries)), page_(page), host_(kSocketDescriptor, page) {}

int ContentServer::Run() {
  // With it the launcher knows that libraries are mapped and modules found; what it takes from now
  // on is content's.
  host_.Send(MakeRecord(Kind::kReady));
  // In this order: of a bell that is found rung, what was sent before has been found as well.
  pollfd waits[] = {{kOrderBellDescriptor, POLLIN, 0}, {kSocketDescriptor, POLLIN, 0}};
  for (;;) {
    if (poll(waits, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return 1;
    }
    uint64_t rings = 0;
    const bool rung =
        waits[0].revents != 0 && read(kOrderBellDescriptor, &rings, sizeof rings) == sizeof rings;
    // What was sent before the bell was rung comes first.
    if (waits[1].revents != 0 && !TakeOrders()) break;
    if (!rung) continue;
    // Copied once: the launcher is trusted, but a page that two processes write is read once on
    // principle.
    Record order;
    CopyRecord(page_.order, order);
    Answer(order);
  }
  engine_.reset();
  return 0;
}

bool ContentServer::TakeOrders() {
  for (;;) {
    Record order;
    iovec part = {&order, sizeof order};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
    msghdr message = {};
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    const ssize_t bytes = recvmsg(kSocketDescriptor, &message, MSG_DONTWAIT | MSG_CMSG_CLOEXEC);
    if (bytes < 0 && errno == EINTR) continue;
    // The launcher is gone or has shut its side: EAGAIN alone means that there is nothing more.
    if (bytes < 0) return errno == EAGAIN;
    if (bytes != sizeof order) return false;
    int descriptor = -1;
    const cmsghdr* const header = CMSG_FIRSTHDR(&message);
    // One descriptor at most is sent with an order; room for more there is none.
    if (header != nullptr && header->cmsg_type == SCM_RIGHTS) {
      memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    }
    // Orders without an answer cannot be refused. The next call says what went wrong.
    if (!TakeOrder(order, descriptor) && fault_.empty()) fault_ = "an order cannot be followed";
  }
}

bool ContentServer::TakeOrder(const Record& order, int descriptor) {
  const auto kind = static_cast<Kind>(order.kind);
  if (kind == Kind::kText) {
    text_ += TextOf(order);
    return text_.size() <= kMostSettingsText;
  }
  // Pieces end with the next order, whatever it is: a text never runs into the following one.
  const std::string text = std::exchange(text_, {}) + std::string(TextOf(order));
  switch (kind) {
    case Kind::kPrepare: {
      ContentOrder content;
      if (!ReadContent(order, kind, content, fault_)) return false;
      OpenLibraries(content.kind, text);
      return true;
    }
    case Kind::kSettings:
      return ReadSettings(text, host_.ChangeSettings());
    case Kind::kAddress:
      return ReadAddress(text, address_);
    case Kind::kInput: {
      player::InputEvent input;
      if (!ReadInput(order, input, fault_)) return false;
      if (engine_ != nullptr) engine_->OnInput(input);
      return true;
    }
    case Kind::kProxy: {
      player::ProxySettings proxy;
      if (!ReadProxy(text, proxy)) return false;
      player::PlayerSettings& settings = host_.ChangeSettings();
      settings.proxy = proxy.host;
      settings.proxyPort = proxy.port;
      settings.proxyUser = proxy.user;
      settings.proxyPassword = proxy.password;
      if (engine_ != nullptr) engine_->OnProxy(proxy);
      return true;
    }
    case Kind::kPlaying: {
      bool playing = false;
      if (!ReadFlag(order, kind, playing, fault_)) return false;
      if (engine_ != nullptr) engine_->SetPlaying(playing);
      return true;
    }
    case Kind::kVolume: {
      double volume = 1;
      if (!ReadVolume(order, volume, fault_)) return false;
      if (engine_ != nullptr) engine_->SetVolume(volume);
      return true;
    }
    case Kind::kSaveMemory:
      if (engine_ != nullptr) engine_->SaveMemory();
      // What was given back is to be the machine's, not this process's.
      malloc_trim(0);
      return true;
    case Kind::kPlane: {
      PlaneMemory plane;
      if (ReadPlane(order, plane, fault_)) return memory_.Map(plane, descriptor);
      // Nobody else closes it.
      if (descriptor >= 0) close(descriptor);
      return false;
    }
    default:
      return false;
  }
}

void ContentServer::Answer(const Record& order) {
  Record answer;
  try {
    if (!fault_.empty()) {
      answer = Misunderstood(std::exchange(fault_, {}));
    } else if (static_cast<Kind>(order.kind) == Kind::kLoad) {
      answer = Load();
    } else if (static_cast<Kind>(order.kind) == Kind::kProtect) {
      answer = Protect(order);
    } else if (engine_ == nullptr) {
      answer = Misunderstood("an order before there is content");
    } else if (static_cast<Kind>(order.kind) == Kind::kAdvance) {
      answer = Advance(order);
    } else if (static_cast<Kind>(order.kind) == Kind::kSeek) {
      answer = Seek(order);
    } else {
      answer = Draw(order);
    }
  } catch (const std::bad_alloc&) {
    // As a player in the launcher would: the content ends, its window says why.
    answer = ErrorRecord(Kind::kFailed, {qx::plexion::kErrorNotEnoughMemory, "out of memory"});
  } catch (const std::exception& exception) {
    answer = ErrorRecord(Kind::kFailed, {qx::plexion::kErrorFatalPlaybackError, exception.what()});
  }
  answer.serial = order.serial;
  answer.events = host_.Sent();
  page_.countedKibibytes = static_cast<uint32_t>(host_.Memory()->GetBytesUsed() / 1024);
  CopyRecord(answer, page_.answer);
  page_.answered = order.serial;
  if (page_.awaited == 0) return;
  const uint64_t one = 1;
  const ssize_t written = write(kAnswerBellDescriptor, &one, sizeof one);
  (void)written;  // a bell that is full rings
}

Record ContentServer::Misunderstood(const std::string& fault) {
  return ErrorRecord(Kind::kFailed, {qx::plexion::kErrorFatalPlaybackError,
                                     "the content's process does not understand: " + fault});
}

void ContentServer::OpenLibraries(ContentKind kind, const std::string& format) {
  engines_.OpenLibraries(kind, format);
  opened_ = true;
}

Record ContentServer::Protect(const Record& order) {
  ContentOrder content;
  // Refused in here already: a plain allocation that fails has a handler, an overdrawn account is a
  // kill.
  std::string fault;
  if (!ReadContent(order, Kind::kProtect, content, fault)) return Misunderstood(fault);
  host_.GetMemory().SetLimit(content.memoryBytes);
  // Its libraries are opened while this process may still open everything; the content, not before it
  // may no longer.
  if (!opened_) OpenLibraries(content.kind, "");
  Rights rights = RightsFor(content, address_, host_.Settings(),
                            player::SoundMayBeHeard(player::RealSoundSurroundings()));
  rights.read.insert(rights.read.end(), libraries_.begin(), libraries_.end());
  // From here on for good: the order that loads is refused without it.
  protected_ = true;
  return ProtectedRecord(GiveUpRights(rights));
}

Record ContentServer::Load() {
  if (!protected_) return Misunderstood("content before rights are given up");
  EngineError error;
  player::ContentFacts facts;
  engine_ = engines_.OpenEngine(address_, host_, error);
  if (engine_ == nullptr || !engine_->Load(address_, facts, error)) {
    engine_.reset();
    return ErrorRecord(Kind::kFailed, error);
  }
  return LoadedRecord(facts);
}

Record ContentServer::Advance(const Record& order) {
  player::FrameStep step;
  std::string fault;
  if (!ReadStep(order, step, fault)) return Misunderstood(fault);
  host_.BeginFrame();
  return AdvancedRecord(engine_->Advance(step));
}

Record ContentServer::Draw(const Record& order) {
  DrawOrder draw;
  std::string fault;
  if (!ReadDraw(order, draw, fault)) return Misunderstood(fault);
  if (!memory_.IsMapped()) return Misunderstood("nothing to draw into");
  player::DrawTarget target;
  target.pixels = memory_.Pixels();
  target.pitchBytes = memory_.Plane().pitchBytes;
  target.dims = memory_.Plane().dims;
  target.bgAlpha = draw.bgAlpha;
  target.everything = draw.everything;
  PLEXION_CHECK(engine_ != nullptr, "orders before there is content are refused");
  if (!draw.step) return DrawnRecord(engine_->Draw(target));
  host_.BeginFrame();
  const player::StepResult moved = engine_->Advance(*draw.step);
  // The launcher guessed that this moment differs. If it does not, nothing is drawn and nothing
  // copied.
  const bool same = !moved.changed && !draw.everything;
  return DrawnRecord(same ? player::DrawResult() : engine_->Draw(target), moved.nextPosition);
}

Record ContentServer::Seek(const Record& order) {
  SeekOrder seek;
  std::string fault;
  if (!ReadSeek(order, seek, fault)) return Misunderstood(fault);
  const bool done = engine_->Seek(seek.seconds, seek.relative, fault);
  return SoughtRecord(done ? "" : (fault.empty() ? "it cannot go there" : fault));
}

}  // namespace plexion_host::content
