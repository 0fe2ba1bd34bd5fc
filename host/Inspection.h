#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "runtime/reflection/Entity.h"

namespace Host {

class Publishers;

// What there is to see of the live system, as lines of text. It reads and never writes.
class Inspection {
 public:
  using Root = std::function<Zef::Ptr<Zef::Entity>()>;

  // `store` is the directory that paths start from; besides, "root" leads to what `root` gives at that moment, "trace"
  // to the trace ring, "types" to what the models declare, and "publishers" to those who publish, if there are any.
  Inspection(Zef::Ptr<Zef::Dir> store, Root root, Publishers const* publishers = nullptr);

  // The answer to one path: names of entities, attributes and keys with "/" between them, where %2F stands for a "/"
  // within one and %25 for a "%", and a lone % is an empty name. An empty path is the store itself. Each line of an
  // answer has three or four fields with tabs between them, the first in the spelling of a path:
  //
  //   attribute  kind  type  text        of an object: a line for each of its attributes
  //   key        member  type            of a collection: a line for each member; so for a directory's entities
  //   key        value  type  text       of values by key
  //   seconds    record  duration  text  of the trace ring, oldest first
  //   name       member  base            of the types, in the order of their registration
  //   name       attribute  type  id...  of one type, of its own attributes
  //   name       member  state           of the publishers; of one of them as of an object
  //
  // Its last line is "."; that of a path that leads nowhere is "! " and the reason.
  std::string answer(std::string_view path) const;

 private:
  Zef::Ptr<Zef::Dir> store_;
  Root root_;
  Publishers const* publishers_;
};

}  // namespace Host
