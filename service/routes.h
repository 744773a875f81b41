/// What the service can be asked for: one table, which requests are matched with, and from which the description for
/// programs (OpenAPI) is made.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "http.h"

namespace qvcmsd {

/// What a request's body is.
enum class Body { None, Document, Mark, Token };

/// A parameter behind "?".
struct Parameter {
  enum class Type { Text, Number, Flag };
  std::string_view name;
  Type type;
  std::string_view meaning;
};

/// What is done for a route; see `Service::Handle`.
enum class Operation {
  Pair,
  Snapshot,
  Status,
  Plan,
  Remove,
  ListSlaves,
  ShowSlave,
  ListOfSlave,
  List,
  SetConfiguring,
  Messages,
  Events,
  Metrics,
  Health,
  Readiness,
  Describe,
  Page,
  ShowSession,
  LogIn,
  LogOut,
};

struct Route {
  std::string_view method;
  std::string_view path;  ///< with names in braces for what varies: "/v1/slaves/{zr}/pair"
  Operation operation;
  Need need;
  std::string_view meaning;
  std::string_view answer;  ///< what is sent back, in words
  Body body = Body::None;
  std::vector<Parameter> parameters = {};
  bool takes_columns = false;  ///< columns of the kind are parameters too: only rows that have these values
  std::string_view type = "application/json";
  std::vector<int> problems = {};  ///< statuses of its own, besides those that every route may have
};

std::span<const Route> Routes();

/// The parameter of that name, or null.
const Parameter* FindParameter(const Route& route, std::string_view name);

/// A route, with what stood for the names in its path, in their order.
struct Match {
  const Route* route = nullptr;     ///< null: there is none
  std::vector<std::string> values;  ///< of the names in the path
  std::string allowed;              ///< methods that the path has, "GET, PUT", when the request's is none of them
};

Match FindRoute(std::string_view method, const Target& target);

/// The description of all routes, OpenAPI 3.1, as a JSON text.
std::string DescribeRoutes();

}  // namespace qvcmsd
