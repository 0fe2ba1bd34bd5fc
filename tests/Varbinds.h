#pragma once

#include <algorithm>
#include <functional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "platform/agent/Config.h"
#include "platform/agent/NetSnmp.h"
#include "platform/agent/TrapManager.h"

// OIDs and varbinds as tests compare them, and the receiver of notifications.

using Oid = std::vector<oid>;

inline Oid operator+(Oid left, Oid const& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

inline std::string text(Oid const& name) {
  std::string result;
  for (auto const part : name) result += (result.empty() ? "" : ".") + std::to_string(part);
  return result;
}

inline bool isBelow(Oid const& name, Oid const& root) {
  return name.size() > root.size() && std::equal(root.begin(), root.end(), name.begin());
}

// One varbind. The value is the bytes of a string, and otherwise the number or OID as text; an exception
// (noSuchInstance and its kin) has none.
struct Answer {
  Oid name;
  int type;
  std::string value;
  bool operator==(Answer const& other) const = default;
};

inline void PrintTo(Answer const& answer, std::ostream* stream) {
  *stream << text(answer.name) << " = " << answer.type << ": \"" << answer.value << '"';
}

inline std::vector<Answer> answersIn(variable_list const* list) {
  std::vector<Answer> answers;
  for (; list != nullptr; list = list->next_variable) {
    Answer one{Oid(list->name, list->name + list->name_length), list->type, ""};
    if (list->type == ASN_OCTET_STR) {
      one.value.assign(reinterpret_cast<char const*>(list->val.string), list->val_len);
    } else if (list->type == ASN_OBJECT_ID) {
      one.value = text(Oid(list->val.objid, list->val.objid + list->val_len / sizeof(oid)));
    } else if (list->val_len == sizeof(long)) {
      one.value = std::to_string(*list->val.integer);
    }
    answers.push_back(std::move(one));
  }
  return answers;
}

inline constexpr char const* notificationNames[] = {"entConfigChange", "entStateOperEnabled", "entStateOperDisabled",
                                                    "kelvraEntSensorAlarm"};

inline Zef::Ptr<Snmp::Notification> notification(char const* name) {
  return Snmp::theConfig()->notificationConfigIs("entity")->notificationIs(name);
}

// Takes the agent's place as the receiver of notifications, with all of them enabled.
class Receiver {
 public:
  explicit Receiver(std::function<void(std::vector<Answer> const&)> receive) {
    for (char const* name : notificationNames) notification(name)->reasonIs("");
    Snmp::TrapManager::senderIs([receive = std::move(receive)](variable_list* list) { receive(answersIn(list)); });
  }
  ~Receiver() { Snmp::TrapManager::senderIs(nullptr); }
  Receiver(Receiver const&) = delete;
  Receiver& operator=(Receiver const&) = delete;
};
