// Many items saved and sent: the requests that each of them composes, put together where they agree in all but the
// item.

#include <algorithm>
#include <tuple>
#include <unordered_set>

#include "ews/bulk/uVqEWSBulk.h"
#include "ews/bulk/uVqEWSBulkJobs_p.h"
#include "ews/items/internal/uVqEWSItemParts.h"
#include "ews/items/uVqEWSItem.h"

namespace velmore {
namespace {

/// What two requests must have in common to go out as one: everything but the elements below this one.
std::string FrameOf(IVqSOAPRequest& request, const char* list) {
  const IVqDOMElement method = request.GetMethod();
  std::string frame = request.GetHeader().GetXMLAsUtf8();
  for (const IVqDOMAttribute& attribute : method.GetAttributes())
    frame += attribute.GetName().utf8() + '=' + attribute.GetValue().utf8() + '\n';
  for (const IVqDOMElement& child : method.GetChildElements()) {
    if (child.GetLocalName() != list) frame += child.GetXMLAsUtf8();
  }
  return frame;
}

/// One operation on items in hand.
class TItems {
 public:
  TItems(TVqEWSObject& store, const TVqEWSBulkSettings& settings, std::span<const TVqRef<IVqEWSItem>> items)
      : FSettings(settings),
        FResults(items.size()),
        FCores(items.size()),
        FRun(store.ActiveSession(), settings, items.size(), kEwsUsualSize) {
    std::unordered_set<TVqEWSItemCore*> seen;
    for (std::size_t i = 0; i < items.size(); ++i) {
      FCores[i] = dynamic_cast<TVqEWSItemCore*>(items[i].get());
      Try(i, true, [&] {
        if (!FCores[i] || FCores[i]->GetSession() != store.GetSession())
          throw EVqException("Operations on many need items of the session of their store.");
        if (!seen.insert(FCores[i]).second) throw EVqException("The same item stands here twice.");
      });
    }
  }

  void Save(TVqEWSSaveOption option) {
    std::vector<std::size_t> all = Left();
    ForWindows(std::move(all), [&](const std::vector<std::size_t>& window) { Save(window, option, true); });
  }

  void Send(bool moveToSentItems) {
    ForWindows(Left(), [&](const std::vector<std::size_t>& window) { Send(window, moveToSentItems); });
  }

  std::vector<TVqEWSIdResult> Take() { return FResults.Take(); }

 private:
  using TIndices = std::vector<std::size_t>;

  /// A step that one item takes by itself. False when it failed.
  bool Try(std::size_t item, bool isStep, const std::function<void()>& action, bool finishes = false) {
    TVqEWSBulkJob job;
    job.Finishes = finishes;
    job.Operation = "UpdateItem";
    job.Fail = [&](std::size_t at, const std::exception_ptr& failure, bool sent) { Fail(at, failure, sent); };
    job.IsLast = !isStep;
    FRun.RunAlone(item, job, action);
    return !FFailed[item];
  }

  void Fail(std::size_t item, const std::exception_ptr& failure, bool sent) {
    FResults[item] = TVqEWSIdResult(failure, sent, FBegun[item]);
    FFailed[item] = true;
  }
  void Succeed(std::size_t item, const TItemId& id) { FResults[item] = TVqEWSIdResult(id); }

  TIndices Left() {
    TIndices left;
    for (std::size_t i = 0; i < FCores.size(); ++i) {
      if (!FFailed[i]) left.push_back(i);
    }
    return left;
  }
  void DropFailed(TIndices& items) {
    std::erase_if(items, [&](std::size_t item) { return FFailed[item]; });
  }

  /// Items of one kind and place stand together, so that their requests are full. What was changed is read back after
  /// each window.
  template <typename TAction>
  void ForWindows(TIndices items, TAction action) {
    const auto orderOf = [&](std::size_t item) {
      return std::tuple(TVqEWSItemParts::IsToBeCreated(*FCores[item]), FCores[item]->GetItemType(),
                        FCores[item]->GetCreatedBy());
    };
    std::ranges::stable_sort(items, {}, orderOf);
    for (std::size_t at = 0; at < items.size();) {
      const std::size_t window =
          std::min(items.size() - at, FRun.Size() * static_cast<std::size_t>(FSettings.Connections));
      const auto begin = items.begin() + static_cast<std::ptrdiff_t>(at);
      action(TIndices(begin, begin + static_cast<std::ptrdiff_t>(window)));
      at += window;
    }
  }

  /// A job whose requests are put together from those of single items. `compose` fills the request of one and says
  /// whether there is anything to be sent; `list` is the element that holds the item.
  template <typename TCompose, typename TRead>
  void RunMerged(const TVqEWSOperation& operation, const char* list, const TIndices& items, TCompose compose,
                 TRead read, bool isLast, bool finishes = false) {
    TVqEWSBulkJob job;
    job.Finishes = finishes;
    job.Operation = operation.Name;
    job.Count = items.size();
    job.IsLast = isLast;
    job.Compose = [&](std::span<const std::size_t> offered, TVqSOAPClient* client, TVqEWSBulkRequest& request) {
      std::string frame;
      std::size_t taken = 0;
      for (const std::size_t at : offered) {
        try {
          TVqEWSItemCore& core = *FCores[items[at]];
          auto call = std::make_shared<TVqEWSCall>(core, operation, client);
          if (!compose(core, *call)) {
            request.Skipped.push_back(at);
          } else if (!request.Call) {
            frame = FrameOf(*call->Request(), list);
            request.Call = std::move(call);
            request.Items.push_back(at);
          } else if (FrameOf(*call->Request(), list) == frame) {
            const IVqDOMElement all = request.Call->Method().SelectSingleElement(list, kSelectRequired);
            for (const IVqDOMElement& one :
                 call->Method().SelectSingleElement(list, kSelectRequired).GetChildElements())
              all.AddChild(one);
            request.Items.push_back(at);
          } else {
            break;  // opens the next request
          }
        } catch (...) {
          request.Refused.emplace_back(at, std::current_exception());
        }
        ++taken;
      }
      return taken;
    };
    job.Read = [&](std::size_t at, const TVqEWSCall& call, const IVqDOMElement& message) {
      read(items[at], call, message);
    };
    job.Fail = [&](std::size_t at, const std::exception_ptr& failure, bool sent) { Fail(items[at], failure, sent); };
    FRun.Run(job);
  }

  /// The steps of TVqEWSItemCore::SaveChanges, each of them for all.
  void Save(const TIndices& window, TVqEWSSaveOption option, bool isLast) {
    TIndices created, updated, saved;
    for (const std::size_t item : window) {
      TVqEWSItemCore& core = *FCores[item];
      if (TVqEWSItemParts::SavesAlone(core)) {
        if (Try(item, !isLast, [&] { core.SaveChanges(option); })) Succeed(item, core.GetID());
      } else if (Try(item, true, [&] { TVqEWSItemParts::Prepare(core); })) {
        (TVqEWSItemParts::IsToBeCreated(core) ? created : updated).push_back(item);
        saved.push_back(item);
      }
    }
    std::vector<bool> fresh(FCores.size());
    const auto takeId = [&](std::size_t item, const TVqEWSCall& call, const IVqDOMElement& message) {
      FCores[item]->SetId(EwsReadId(call.FindMade(message, ".//ItemId")));
      fresh[item] = FBegun[item] = true;
    };
    RunMerged(
        kCreateItem, "Items", created,
        [](TVqEWSItemCore& core, const TVqEWSCall& call) {
          TVqEWSItemParts::ComposeCreate(core, call);
          return true;
        },
        takeId, false);
    RunMerged(
        kUpdateItem, "ItemChanges", updated,
        [&](TVqEWSItemCore& core, const TVqEWSCall& call) {
          return TVqEWSItemParts::ComposeUpdate(core, call, option).HasChildElements();
        },
        takeId, false);
    DropFailed(saved);
    for (const std::size_t item : saved)
      Try(
          item, true, [&] { TVqEWSItemParts::SaveAttachments(*FCores[item], fresh[item]); }, true);
    DropFailed(saved);
    RunMerged(
        "GetItem", "ItemIds", saved,
        [](TVqEWSItemCore& core, const TVqEWSCall& call) {
          TVqEWSItemParts::NoteSaved(core);
          const TItemId id = core.GetID();
          EwsAskForItems(call, {&id, 1});
          return true;
        },
        [&](std::size_t item, const TVqEWSCall& call, const IVqDOMElement& message) {
          TVqEWSItemParts::TakeLoaded(*FCores[item], {TVqEWSCall::OnlyItem(message), call.Response()});
          Succeed(item, FCores[item]->GetID());
        },
        isLast, true);
  }

  /// The ways of TVqEWSEMail::SubmitMessage.
  void Send(const TIndices& window, bool moveToSentItems) {
    TIndices inOneStep, saved;
    for (const std::size_t item : window) {
      TVqEWSItemCore& core = *FCores[item];
      const auto alone = Supports<IVqEWSSmartResponse>(&core);
      bool isNew = false;
      if (!Try(item, true, [&] {
            if (alone) return;
            TVqEWSItemParts::CheckNotSubmitted(core);
            isNew = TVqEWSItemParts::IsToBeCreated(core);
          }))
        continue;
      if (alone) {
        if (Try(item, false, [&] { alone->SubmitMessage(moveToSentItems); })) Succeed(item, core.GetID());
      } else if (!isNew) {
        saved.push_back(item);
      } else if (TVqEWSItemParts::SendsInOneStep(core)) {
        inOneStep.push_back(item);
      } else {
        const auto mail = Supports<IVqEWSEMail>(&core);
        if (Try(item, false, [&] { mail->SubmitMessage(moveToSentItems); })) Succeed(item, core.GetID());
      }
    }
    const auto sent = [&](std::size_t item, const TVqEWSCall&, const IVqDOMElement&) {
      TVqEWSItemParts::NoteSubmitted(*FCores[item]);
      Succeed(item, FCores[item]->GetID());
    };
    RunMerged(
        kCreateItem, "Items", inOneStep,
        [&](TVqEWSItemCore& core, const TVqEWSCall& call) {
          TVqEWSItemParts::ComposeSend(core, call, moveToSentItems);
          return true;
        },
        sent, true);
    Save(saved, soAutoResolve, false);
    DropFailed(saved);
    for (const std::size_t item : saved)
      Try(item, true, [&] { TVqEWSItemParts::CheckRefusedDeletions(*FCores[item]); });
    DropFailed(saved);
    RunMerged(
        kSendItem, "ItemIds", saved,
        [&](TVqEWSItemCore& core, const TVqEWSCall& call) {
          const TItemId id = core.GetID();
          EwsAskToSend(call, {&id, 1}, moveToSentItems, core.ActiveSession().GetServerVersion());
          return true;
        },
        sent, true);
  }

  const TVqEWSBulkSettings FSettings;
  TVqEWSResults<TItemId> FResults;
  std::vector<TVqEWSItemCore*> FCores;
  std::vector<bool> FFailed = std::vector<bool>(FCores.size());
  std::vector<bool> FBegun = std::vector<bool>(FCores.size());  // a step has changed something on the server
  TVqEWSBulkRun FRun;
};

}  // namespace

std::vector<TVqEWSIdResult> TVqEWSBulk::SaveItems(std::span<const TVqRef<IVqEWSItem>> AItems,
                                                  TVqEWSSaveOption ASaveOption) {
  TItems items(Store(), Settings(), AItems);
  items.Save(ASaveOption);
  return items.Take();
}

std::vector<TVqEWSIdResult> TVqEWSBulk::SendItems(std::span<const TVqRef<IVqEWSItem>> AItems, bool AMoveToSentItems) {
  TItems items(Store(), Settings(), AItems);
  items.Send(AMoveToSentItems);
  return items.Take();
}

std::vector<TVqEWSIdResult> TVqEWSBulk::MarkAsRead(std::span<const TVqRef<IVqEWSItem>> AItems, bool ARead,
                                                   bool ASuppressReceipts) {
  std::vector<TItemId> ids;
  ids.reserve(AItems.size());
  for (const auto& item : AItems) ids.push_back(item ? item->GetID() : TItemId());
  auto results = MarkAsRead(ids, ARead, ASuppressReceipts);
  const IVqDOMDocument marked =
      VqCreateDOM(string("<t:Message xmlns:t=\"t\"><t:IsRead>") + VqBoolToXML(ARead) + "</t:IsRead></t:Message>");
  for (std::size_t i = 0; i < AItems.size(); ++i) {
    const auto core = Supports<TVqEWSItemCore>(AItems[i]);
    if (!results[i] || !core) continue;
    TVqEWSItemParts::Merge(*core, marked.GetDocumentElement(), "IsRead");
    core->SetId(results[i].Value());
  }
  return results;
}

}  // namespace velmore
