/// The description of the routes for programs.

#include "routes.h"

namespace qvcmsd {
namespace {

Json::Value Object(std::initializer_list<std::pair<const char*, Json::Value>> members) {
  Json::Value object(Json::objectValue);
  for (const auto& [name, value] : members) object[name] = value;
  return object;
}

const char* SchemaType(Parameter::Type type) {
  switch (type) {
    case Parameter::Type::Number:
      return "integer";
    case Parameter::Type::Flag:
      return "boolean";
    default:
      return "string";
  }
}

Json::Value Describe(const std::string& name, const char* place, const char* type, std::string_view meaning) {
  Json::Value parameter = Object({{"name", name}, {"in", place}, {"schema", Object({{"type", type}})}});
  if (std::string_view(place) == "path") parameter["required"] = true;
  if (!meaning.empty()) parameter["description"] = std::string(meaning);
  return parameter;
}

Json::Value ParametersOf(const Route& route) {
  Json::Value parameters(Json::arrayValue);
  std::string_view path = route.path;
  for (std::size_t begin = path.find('{'); begin != std::string_view::npos; begin = path.find('{', begin + 1)) {
    const std::string name(path.substr(begin + 1, path.find('}', begin) - begin - 1));
    parameters.append(Describe(name, "path", name == "zr" || name == "id" ? "integer" : "string", ""));
  }
  if (route.body == Body::Document) {
    Json::Value encoding = Describe("Content-Encoding", "header", "string", "gzip, for a body that is compressed");
    encoding["schema"]["enum"].append("gzip");
    parameters.append(std::move(encoding));
  }
  for (const Parameter& parameter : route.parameters) {
    parameters.append(Describe(std::string(parameter.name), "query", SchemaType(parameter.type), parameter.meaning));
  }
  if (route.takes_columns) {
    Json::Value columns = Describe("columns", "query", "object", "Only rows in which these columns have these values");
    columns["style"] = "form";
    columns["explode"] = true;
    columns["schema"]["additionalProperties"] = Object({{"type", "string"}});
    parameters.append(std::move(columns));
  }
  return parameters;
}

Json::Value BodyOf(const Route& route) {
  Json::Value schema = Object({{"type", "object"}});
  const auto require = [&](const char* member, const char* type) {
    schema["required"].append(member);
    schema["properties"][member]["type"] = type;
  };
  if (route.body == Body::Mark) require("configuring", "boolean");
  if (route.body == Body::Token) require("token", "string");
  Json::Value body = Object({{"required", true}});
  body["content"]["application/json"]["schema"] = std::move(schema);
  return body;
}

void AddHeader(Json::Value& response, const char* name, const char* type, const char* meaning) {
  response["headers"][name] = Object({{"schema", Object({{"type", type}})}, {"description", meaning}});
}

/// Headers of an answer that tell something of their own.
void AddHeaders(const Route& route, Json::Value& responses) {
  Json::Value& done = responses["200"];
  if (FindParameter(route, "limit") != nullptr) {
    AddHeader(done, "Link", "string", "Address of the next page, with rel=\"next\"; none: this is the last one");
  }
  if (route.need == Need::Documents || route.need == Need::Operate) {
    AddHeader(done, "Qv-Failed-Operations", "integer", "Operations that failed; the rest was applied");
    AddHeader(done, "Qv-Failed-Files", "integer", "Files that could not be written; they are tried again");
  }
  if (route.operation == Operation::Page) {
    AddHeader(done, "ETag", "string", "For If-None-Match");
    responses["304"]["description"] = "The file is the one that If-None-Match names";
  }
  AddHeader(responses["503"], "Retry-After", "integer", "Seconds after which to try again");
}

Json::Value ResponsesOf(const Route& route) {
  Json::Value responses(Json::objectValue);
  responses["200"]["description"] = std::string(route.answer);
  const std::string type(route.type.substr(0, route.type.find(';')));
  responses["200"]["content"][type] = Json::Value(Json::objectValue);
  std::vector<int> problems = route.problems;
  for (const int problem : {400, 421, 500, 503}) problems.push_back(problem);
  if (route.need != Need::Nothing) problems.insert(problems.end(), {401, 403});
  if (route.body != Body::None) problems.insert(problems.end(), {413, 415});
  for (const int problem : problems) {
    Json::Value& response = responses[std::to_string(problem)];
    response["description"] = std::string(ReasonOf(problem));
    response["content"]["application/problem+json"]["schema"]["$ref"] = "#/components/schemas/Problem";
  }
  AddHeaders(route, responses);
  return responses;
}

Json::Value ProblemSchema() {
  Json::Value schema = Object({{"type", "object"}});
  for (const char* const name : {"title", "detail", "code", "place"}) schema["properties"][name]["type"] = "string";
  for (const char* const name : {"status", "line", "column"}) schema["properties"][name]["type"] = "integer";
  return schema;
}

std::string InSmallLetters(std::string_view word) {
  std::string small(word);
  for (char& letter : small) {
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  }
  return small;
}

}  // namespace

std::string DescribeRoutes() {
  Json::Value description = Object({{"openapi", "3.1.0"}});
  description["info"] = Object({{"title", "qvcmsd"}, {"version", QVCMS_VERSION}});
  for (const Route& route : Routes()) {
    Json::Value& operation = description["paths"][std::string(route.path)][InSmallLetters(route.method)];
    operation["summary"] = std::string(route.meaning);
    const Json::Value parameters = ParametersOf(route);
    if (!parameters.empty()) operation["parameters"] = parameters;
    if (route.body != Body::None) operation["requestBody"] = BodyOf(route);
    operation["responses"] = ResponsesOf(route);
    if (route.need != Need::Nothing) {
      Json::Value& security = operation["security"];
      for (const char* const scheme : {"bearer", "cookie", "certificate"}) {
        security.append(Object({{scheme, Json::Value(Json::arrayValue)}}));
      }
    }
  }
  description["components"]["schemas"]["Problem"] = ProblemSchema();
  Json::Value& schemes = description["components"]["securitySchemes"];
  schemes["bearer"] = Object({{"type", "http"}, {"scheme", "bearer"}});
  schemes["cookie"] = Object({{"type", "apiKey"}, {"in", "cookie"}, {"name", "qvcmsd"}});
  schemes["certificate"] = Object({{"type", "mutualTLS"}});
  return qv::ToJson(description, false) + '\n';
}

}  // namespace qvcmsd
