#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "host/publishers/Claims.h"
#include "host/publishers/Document.h"
#include "platform/store/Merge.h"

// What publishers write about a switch, as live objects: JSON that mirrors the model. Its top-level keys name the
// inputs; below them stand attribute names, and a collection is an object keyed by the text of its keys.
namespace Host {

// What a publisher wants, in no tree: a directory of inputs with what it speaks of and all on the way to it, and how
// much of that is meant.
struct Change {
  // A reference that was read, and where it leads; nowhere when it was taken away.
  struct Reference {
    Steps from;
    Zef::ZefAttr const* attribute = nullptr;
    Steps to;
    std::string place;

    [[noreturn]] void refuse() const;
  };

  Zef::Ptr<Zef::Dir> wanted;
  Vorlin::Scope scope;
  std::vector<Reference> references;
  // Places that were left out, since other publishers speak for them.
  std::vector<std::string> leftOut;

  // The counterpart of what stands at the steps, as it is, in a change that means nothing on the way there; `meant` is
  // what it means of it. Null when nothing stands there.
  Zef::Ptr<Zef::PtrInterface> passTo(Zef::Ptr<Zef::Dir> const& live, Steps const& steps, Vorlin::Scope*& meant);
};

// Who says something, and to what.
struct Saying {
  enum class Word {
    file,   // all of his claims, less what others claim in them
    set,    // all of his claims
    patch,  // a merge patch (RFC 7396)
  };

  Word word = Word::set;
  Claims const& claims;
  Claims::Owner const& speaker;
  std::vector<Claim> const& his;     // claims, of which a file or a set says all there is
  Zef::Ptr<Zef::Dir> const& inputs;  // as they are, or as they wait
  // The one of his claims that is meant, which waits; null: all that do not. The others are only checked to be his.
  Claims::Node const* waiting = nullptr;
  Vorlin::ChangesList changes = {};  // who knows which part is another one

  bool means(Claims::Node const& claim) const { return waiting == nullptr ? !claim.waits : &claim == waiting; }
};

// An object and all below it, but for what is claimed there by others than a speaker.
Vorlin::Scope allBut(Zef::PtrInterface const& object, Claims::Node const* claims, Claims::Owner const* speaker);

// What a document means. InventoryError when any of it does not fit, or is not the speaker's to say.
Change readChange(Node const& document, EntityTypes const& types, Saying const& saying);

// Sets the references of what is wanted, to what is wanted or there. InventoryError when one leads nowhere.
void refer(Change const& change, Zef::Ptr<Zef::Dir> const& inputs);
// InventoryError when one leads to what goes with the change.
void requireReferences(Change const& change, Vorlin::Merge const& merge, Zef::Ptr<Zef::Dir> const& inputs);

// The directory of the inputs as a text describes them by itself, in no tree, with all inputs in it. InventoryError
// when any of it does not fit.
Zef::Ptr<Zef::Dir> readInventory(std::string_view text, EntityTypes const& types, InventoryLimits const& limits = {});

// An empty directory of inputs: with those entities that stand at its top.
Zef::Ptr<Zef::Dir> emptyInputs(EntityTypes const& types);

}  // namespace Host
