#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "mib/BulkRepeat.h"
#include "mib/Trace.h"
#include "platform/agent/Conversion.h"
#include "platform/agent/Registration.h"
#include "platform/agent/SnmpUtil.h"
#include "runtime/kit/Assert.h"

// The pattern by which every table is served: Net-SNMP's table iterator helper over a live, sorted collection of a
// model entity, read at the moment of the request. A table is a struct of traits, which Mib::Table<> turns into the
// callbacks:
//
//   - name, path, modelType: the table's name, where its model entity stands below the system root, that entity's type
//   - root, modes: the table's OID; what the registration admits (HANDLER_CAN_...)
//   - Model, Iterator, Key, Row: the model entity, the iterator of the collection walked, its key; what a column reads
//   - keyType: the key's type as a message names it
//   - walk(model), startAt(model, key): an iterator at the collection's first row, and at a key or what follows it
//   - index, columns: the index variables; the columns served, in the order of their numbers
namespace Mib {

inline constexpr int bufferSize = 1024;

// How a value gets from a row into wire form, and how messages name that.
template <class Row>
struct Conversion {
  char const* name;
  u_char type;
  int (*convert)(Row const& row, unsigned char* buffer, int capacity);
};

// What a reader of the row gives, through a functor of platform/agent/Conversion.h.
template <class F, auto reader>
inline constexpr auto via = []<class Row, class Value>(Value (Row::*)() const) {
  return Conversion<Row>{F::name, F::type, [](Row const& row, unsigned char* buffer, int capacity) {
                           return SnmpConvert<Value, F>((row.*reader)(), buffer, capacity);
                         }};
}(reader);

// How many bytes a value may have. A conversion is given the capacity, and may report more than that.
struct Length {
  int capacity = bufferSize;
  bool (*fits)(int count, int capacity) = [](int, int) { return true; };
};
constexpr Length atMost(int limit) {
  return {limit, [](int count, int capacity) { return count <= capacity; }};
}
inline constexpr Length dateAndTime = {11, [](int count, int) { return count == 8 || count == 11; }};

// No column can be written. Those that are writable in their MIB module refuse in words of their own.
enum class Access { readOnly, readWriteInMib };

template <class Row>
struct Column {
  unsigned number;
  char const* name;
  Conversion<Row> conversion;
  char const* attribute;  // what is read, as messages name it
  Length length = {};
  Access access = Access::readOnly;
};

// One index variable of a table, its value's name in messages, and how it is read from a row.
template <class Row>
struct IndexPart {
  char const* variable;
  char const* label;
  U32 (*read)(Row const& row);
};

template <auto reader>
inline constexpr auto indexPart = []<class Row, class Value>(Value (Row::*)() const) {
  return [](char const* variable, char const* label) {
    return IndexPart<Row>{variable, label, [](Row const& row) -> U32 { return (row.*reader)(); }};
  };
}(reader);

// Binds a registration to its model entity: my_reg_void is the entity, or null when none of that type stands at the
// path. The registration keeps no reference. What is returned does, until the caller lets go of it.
template <class Model>
Zef::Ptr<Model> bindModel(netsnmp_handler_registration& registration, char const* path) {
  auto model = Zef::dynamicCast<Model>(SnmpUtil::getEntityRelative(path));
  registration.my_reg_void = model.get();
  return model;
}

// The callbacks of a table as they are registered, under the names that MIB_TABLE gives them.
struct Callbacks {
  Netsnmp_First_Data_Point* getFirstDataPoint;
  Netsnmp_Next_Data_Point* getNextDataPoint;
  Netsnmp_Make_Data_Context* makeDataContext;
  Netsnmp_Free_Data_Context* freeDataContext;
  Netsnmp_Free_Loop_Context* freeLoopContextAtEnd;
  Netsnmp_Node_Handler* handler;
};

template <class T>
class Table {
  using Model = typename T::Model;
  using Iterator = typename T::Iterator;
  using Key = typename T::Key;
  using Row = typename T::Row;

 public:
  static void initialize(Callbacks const& callbacks) {
    ZEF_TRACE(traceHandle(), 1) << "initialize_table_" << T::name << " initializing oid "
                                << oidText(T::root, std::size(T::root));
    netsnmp_handler_registration* const registration =
        netsnmp_create_handler_registration(T::name, callbacks.handler, T::root, std::size(T::root), T::modes);
    auto const model = bindModel<Model>(*registration, T::path);

    // The agent uses these for as long as it lives, and frees none of them.
    auto* const valid = SNMP_MALLOC_TYPEDEF(netsnmp_column_info);
    valid->isRange = 0;
    valid->list_count = static_cast<char>(columnCount);
    valid->details.list = columnNumbers.data();
    auto* const table = SNMP_MALLOC_TYPEDEF(netsnmp_table_registration_info);
    for (auto const& part : T::index) {
      if (snmp_varlist_add_variable(&table->indexes, nullptr, 0, ASN_INTEGER, nullptr, 0) == nullptr) {
        ZEF_TRACE(traceHandle(), 0) << "Failed to set up " << part.variable << " in netsnmp table_info";
      }
    }
    table->min_column = columnNumbers.front();
    table->max_column = columnNumbers.back();
    table->valid_columns = valid;
    auto* const iterator = SNMP_MALLOC_TYPEDEF(netsnmp_iterator_info);
    iterator->get_first_data_point = callbacks.getFirstDataPoint;
    iterator->get_next_data_point = callbacks.getNextDataPoint;
    iterator->make_data_context = callbacks.makeDataContext;
    iterator->free_data_context = callbacks.freeDataContext;
    iterator->free_loop_context_at_end = callbacks.freeLoopContextAtEnd;
    iterator->myvoid = registration->my_reg_void;
    iterator->flags |= NETSNMP_ITERATOR_FLAG_SORTED;
    iterator->table_reginfo = table;
    iterator_ = iterator;

    int const result = netsnmp_register_table_iterator(registration, iterator);
    ZEF_ASSERT(result == 0);
    netsnmp_inject_handler(registration, bulkRepeatHandler());
    // At the head of the chain: iterator and handler run once for each varbind, so that each has the hint of its own
    // row.
    int const injected = netsnmp_inject_handler(registration, netsnmp_get_serialize_handler());
    ZEF_ASSERT(injected == (0));  // log readers match the condition with its brackets
    // Log readers match this text with the blank at its end.
    ZEF_TRACE(traceHandle(), 8) << "Initialized table " << T::name << " ";
  }

  // The loop context on entry is the hint: the request at hand, or null.
  static netsnmp_variable_list* getFirstDataPoint(void** loopContext, void** /*dataContext*/,
                                                  netsnmp_variable_list* index, netsnmp_iterator_info* info) {
    return guarded(T::name, nullptr, [&] {
      auto const* const model = static_cast<Model const*>(info->myvoid);
      if (model == nullptr) failForModel();
      // What it holds when this returns, the agent hands to freeLoopContextAtEnd.
      auto const* const hint = static_cast<netsnmp_table_request_info const*>(std::exchange(*loopContext, nullptr));
      unsigned const indexes = hint == nullptr ? 0 : hint->number_indexes;
      ZEF_TRACE(traceHandle(), 2) << T::name << "_get_first_data_point - *hint = " << static_cast<void const*>(hint)
                                  << ", number_indexes = " << indexes;
      Iterator* loop = indexes == indexCount ? find(*model, hint->indexes) : nullptr;
      bool const hintMatched = loop != nullptr;
      if (!hintMatched) loop = new Iterator(T::walk(*model));
      ZEF_TRACE(traceHandle(), 2) << T::name << "_get_first_data_point - allocated new loop context " << loop
                                  << ", hintMatched=" << hintMatched;
      *loopContext = loop;
      return iterationHelper(*loop, index);
    });
  }

  static netsnmp_variable_list* getNextDataPoint(void** loopContext, void** dataContext, netsnmp_variable_list* index,
                                                 netsnmp_iterator_info* /*info*/) {
    return guarded(T::name, nullptr, [&]() -> netsnmp_variable_list* {
      auto* const loop = static_cast<Iterator*>(*loopContext);
      if (loop == nullptr || !*loop) {
        ZEF_TRACE(traceHandle(), 2) << T::name << "_get_next_data_point - at end of loop context " << loop;
        return nullptr;
      }
      ZEF_TRACE(traceHandle(), 2) << T::name << "_get_next_data_point - advancing loop context " << loop
                                  << " ; data context " << *dataContext;
      loop->advance();
      if (*dataContext != nullptr) *static_cast<Iterator*>(*dataContext) = *loop;
      return iterationHelper(*loop, index);
    });
  }

  static void* makeDataContext(void* loopContext, netsnmp_iterator_info* /*info*/) {
    return guarded(T::name, nullptr, [&] {
      auto* const data = new Iterator(*static_cast<Iterator const*>(loopContext));
      ZEF_TRACE(traceHandle(), 2) << T::name << "_make_data_context - allocated data context " << data
                                  << " for loop context " << loopContext;
      return static_cast<void*>(data);
    });
  }

  static void freeDataContext(void* dataContext, netsnmp_iterator_info* /*info*/) {
    freeContext("_free_data_context ", dataContext);
  }

  static void freeLoopContextAtEnd(void* loopContext, netsnmp_iterator_info* /*info*/) {
    freeContext("_free_loop_context_at_end ", loopContext);
  }

  static int handle(netsnmp_agent_request_info const* info, netsnmp_request_info* requests) {
    int const result = guarded(T::name, escaped, [&] {
      ZEF_TRACE(traceHandle(), 2) << T::name << "_handler";
      ZEF_TRACE(traceHandle(), 2) << T::name << "_handler: request mode " << info->mode;
      return info->mode == MODE_GET ? get(requests) : refuse(requests);
    });
    if (result != escaped) return result;
    netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
    return SNMP_ERR_GENERR;
  }

 private:
  static constexpr int escaped = -1;
  static constexpr std::size_t indexCount = std::size(T::index);
  static constexpr std::size_t columnCount = std::size(T::columns);

  // Reaches all that was allocated for the registration, which the agent forgets before it ends.
  inline static netsnmp_iterator_info* iterator_ = nullptr;

  static constexpr bool isGapless() {
    for (std::size_t i = 0; i < columnCount; ++i) {
      if (T::columns[i].number != T::columns[0].number + i) return false;
    }
    return true;
  }
  static_assert(isGapless(), "a column is found by its number");

  // Net-SNMP wants it writable.
  static inline auto columnNumbers = [] {
    std::array<unsigned, columnCount> numbers{};
    for (std::size_t i = 0; i < columnCount; ++i) numbers[i] = T::columns[i].number;
    return numbers;
  }();

  [[noreturn]] static void failForModel() {
    // Log readers match this text, with the quotes inside it.
    std::string const text = std::string("!\"") + T::name + "_get_first_data_point - entity /vx/Vorlin/" + T::path +
                             " is not \" \"of type " + T::modelType + "\"";
    Zef::assertionFailed(text.c_str(), __FILE__, __LINE__, __PRETTY_FUNCTION__);
  }

  static void freeContext(char const* callback, void* context) {
    guarded(T::name, nullptr, [&] {
      std::unique_ptr<Iterator> const owned(static_cast<Iterator*>(context));
      ZEF_TRACE(traceHandle(), 2) << T::name << callback << context;
      return nullptr;
    });
  }

  // A new iterator at the row that the index variables name; null when there is none.
  static Iterator* find(Model const& model, netsnmp_variable_list const* variable) {
    std::array<S32, indexCount> components{};
    std::size_t good = 0;
    for (; good < indexCount && variable != nullptr; variable = variable->next_variable, ++good) {
      if (!readComponent(T::index[good].variable, *variable, components[good])) break;
    }
    if (good < indexCount) {
      ZEF_TRACE(traceHandle(), 2) << T::name << "_get_first_data_point - needed " << indexCount << " components, "
                                  << "found only " << good;
      return nullptr;
    }
    Zef::Expect const expect(Zef::RangeException::id);
    try {
      Key const key = makeKey(components, std::make_index_sequence<indexCount>());
      Iterator at = T::startAt(model, key);
      if (at && at.key() == key) return new Iterator(std::move(at));
      ZEF_TRACE(traceHandle(), 2) << T::name << "_get_first_data_point - key '" << key << "' not found in table";
    } catch (Zef::RangeException const& exception) {
      ZEF_TRACE(traceHandle(), 0) << "Bad hint for " << T::name << ": " << T::keyType
                                  << " ctor threw exception: " << exception.text();
    }
    return nullptr;
  }

  static bool readComponent(char const* name, netsnmp_variable_list const& variable, S32& component) {
    if (variable.type != ASN_INTEGER) {
      ZEF_TRACE(traceHandle(), 0) << "hint for " << name << " has incorrect type! Expecting " << ASN_INTEGER
                                  << " but got " << static_cast<unsigned>(variable.type);
      return false;
    }
    Zef::Expect const expect(Zef::RangeException::id);
    try {
      component = AsnIntegerToS32(variable.val.integer);
      ZEF_TRACE(traceHandle(), 2) << "hint component " << name << " is '" << component << "'";
      return true;
    } catch (Zef::RangeException const& exception) {
      ZEF_TRACE(traceHandle(), 0) << "hint for index " << name << " of " << T::name << " is out of range! "
                                  << exception.text();
      return false;
    }
  }

  template <std::size_t... parts>
  static Key makeKey(std::array<S32, indexCount> const& components, std::index_sequence<parts...> /*all*/) {
    ((components[parts] < 0 ? Zef::throwRangeException("an index is not negative") : void()), ...);
    return Key{static_cast<U32>(components[parts])...};
  }

  // Writes the current row's index; null at the end, which ends the loop.
  static netsnmp_variable_list* iterationHelper(Iterator const& at, netsnmp_variable_list* index) {
    if (!at) {
      ZEF_TRACE(traceHandle(), 2) << T::name << "IterationHelper - iterator is at end";
      return nullptr;
    }
    netsnmp_variable_list* variable = index;
    for (auto const& part : T::index) {
      U32 const value = part.read(*at);
      ZEF_TRACE(traceHandle(), 2) << T::name << "IterationHelper - iterator has another value: " << part.label << "="
                                  << value;
      alignas(oid) unsigned char buffer[bufferSize];
      int const length = SnmpConvert<S32, S32ToAsnIntegerF>(static_cast<S32>(value), buffer, bufferSize);
      snmp_set_var_typed_value(variable, ASN_INTEGER, buffer, static_cast<std::size_t>(length));
      variable = variable->next_variable;
    }
    return index;
  }

  static int get(netsnmp_request_info* requests) {
    for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
      if (isProcessed(*request)) continue;
      auto const* const at = static_cast<Iterator const*>(netsnmp_extract_iterator_context(request));
      if (at == nullptr) {
        ZEF_TRACE(traceHandle(), 2) << T::name << "_handler: null data context in request";
        return SNMP_ERR_NOERROR;
      }
      Column<Row> const* const column = findColumn(*request);
      if (column == nullptr) {
        netsnmp_request_set_error(request, SNMP_NOSUCHOBJECT);
        return SNMP_ERR_NOERROR;
      }
      if (!answer(*request, *column, **at)) {
        netsnmp_request_set_error(requests, SNMP_ERR_GENERR);
        return SNMP_ERR_GENERR;
      }
    }
    return SNMP_ERR_NOERROR;
  }

  static bool answer(netsnmp_request_info& request, Column<Row> const& column, Row const& row) {
    ZEF_TRACE(traceHandle(), 2) << T::name << "_handler: request GET for column " << column.name << ", key "
                                << row.fwkKey();
    alignas(oid) unsigned char buffer[bufferSize];
    int const count = column.conversion.convert(row, buffer, column.length.capacity);
    if (count < 0) {
      ZEF_TRACE(traceHandle(), 2) << "handle_" << T::name << " - " << column.conversion.name
                                  << " failed for: " << column.attribute;
      return false;
    }
    if (!column.length.fits(count, column.length.capacity)) {
      ZEF_TRACE(traceHandle(), 2) << "handle_" << T::name << " - entity /<sysname>/" << T::path
                                  << " length out of range: " << column.attribute << " (" << count << ")";
      return false;
    }
    snmp_set_var_typed_value(request.requestvb, column.conversion.type, buffer, static_cast<std::size_t>(count));
    return true;
  }

  // Any phase of a SET: the first request that is left is refused, and nothing beyond it is reached.
  static int refuse(netsnmp_request_info* requests) {
    for (netsnmp_request_info* request = requests; request != nullptr; request = request->next) {
      if (isProcessed(*request)) continue;
      Column<Row> const* const column = findColumn(*request, Access::readWriteInMib);
      if (column != nullptr) {
        ZEF_TRACE(traceHandle(), 2) << T::name << "_handler: SET is not configured for column " << column->name;
      }
      netsnmp_request_set_error(request, SNMP_ERR_NOTWRITABLE);
      break;
    }
    return SNMP_ERR_NOERROR;
  }

  static bool isProcessed(netsnmp_request_info const& request) {
    if (request.processed == 0) return false;
    ZEF_TRACE(traceHandle(), 2) << T::name << "_handler: request " << static_cast<void const*>(&request)
                                << " already processed";
    return true;
  }

  // The column of a request; null when it is none of the table's, or has less than the access asked for.
  static Column<Row> const* findColumn(netsnmp_request_info& request, Access needed = Access::readOnly) {
    unsigned const number = netsnmp_extract_table_info(&request)->colnum;
    std::size_t const place = number - T::columns[0].number;
    if (place < columnCount && T::columns[place].access >= needed) return &T::columns[place];
    ZEF_TRACE(traceHandle(), 0) << T::name << " invalid column " << number;
    return nullptr;
  }
};

}  // namespace Mib

// The functions of a table, under the names that its messages tell.
#define MIB_TABLE(table, Traits)                                                                        \
  namespace {                                                                                           \
  constexpr auto table##_get_first_data_point = Mib::Table<Traits>::getFirstDataPoint;                  \
  constexpr auto table##_get_next_data_point = Mib::Table<Traits>::getNextDataPoint;                    \
  constexpr auto table##_make_data_context = Mib::Table<Traits>::makeDataContext;                       \
  constexpr auto table##_free_data_context = Mib::Table<Traits>::freeDataContext;                       \
  constexpr auto table##_free_loop_context_at_end = Mib::Table<Traits>::freeLoopContextAtEnd;           \
  }                                                                                                     \
  int table##_handler(netsnmp_mib_handler* /*handler*/, netsnmp_handler_registration* /*registration*/, \
                      netsnmp_agent_request_info* info, netsnmp_request_info* requests) {               \
    return Mib::Table<Traits>::handle(info, requests);                                                  \
  }                                                                                                     \
  void initialize_table_##table() {                                                                     \
    Mib::Table<Traits>::initialize({table##_get_first_data_point, table##_get_next_data_point,          \
                                    table##_make_data_context, table##_free_data_context,               \
                                    table##_free_loop_context_at_end, table##_handler});                \
  }

// Announces a module to the agent, which calls its init_ function.
#define MIB_MODULE(module)                                                \
  namespace {                                                             \
  class module##_HandlerRegistration : public Snmp::HandlerRegistration { \
   public:                                                                \
    void init() override { init_##module(); }                             \
  };                                                                      \
  module##_HandlerRegistration registration;                              \
  Snmp::AutoRegistree const autoRegistree(&registration);                 \
  }
