// Small words in which the model says what is expected.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>

#include "bench/soak_model.h"

namespace webauth {

/// The record of a datagram: cut when it is too long, and zeros where it is too short.
template <typename Record>
Record as_record(const std::string& bytes) {
  Record record{};
  std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
  return record;
}

template <std::size_t N>
std::string text_in(const char (&field)[N]) {
  return {field, std::find(field, field + N, '\0')};
}

/// The first element that passes the test, or the end.
template <typename Element, typename Test>
auto first_with(std::vector<Element>& elements, Test test) {
  return std::find_if(elements.begin(), elements.end(), test);
}

/// A message with everything that all of them have in common.
KernelMessage expected_message(const Model& model, std::uint32_t command, std::uint32_t kind,
                               std::uint32_t ip);

void expect_record(Effects& effects, const std::string& title, const std::string& text);
void expect_line(Effects& effects, const std::string& tokens);
void expect_reply(Effects& effects, std::uint32_t result);

/// The published list becomes what the sessions are now.
void publish(Model& model);

Limit limit_of(const std::string& validity);

/// The account of a session with a daily allowance pays for it.
void charge(Model& model, const Session& session, Span now);

std::string client_of(const Session& session);
std::string details_of(const Session& session);

void apply_control(Model& model, const std::string& bytes, Span now, Effects& effects);
void apply_kernel(Model& model, const std::string& bytes, Span now, Effects& effects);

}  // namespace webauth
