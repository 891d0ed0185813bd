// SPDX-License-Identifier: BSD-2-Clause
// Who may run a command: one small value in each row of the command table.

#ifndef ZEM_DISPATCH_GATE_H_
#define ZEM_DISPATCH_GATE_H_

#include "core/request_context.h"
#include "protocol/agent_reply.h"

namespace zem {

class Gate {
 public:
  // Answered whatever the configuration says.
  static constexpr Gate Always() { return {Kind::kAlways, nullptr}; }
  // A test or an action with a switch of its own.
  static constexpr Gate Test(bool Settings::*on) { return {Kind::kTest, on}; }
  static constexpr Gate Action(bool Settings::*on) { return {Kind::kAction, on}; }
  // Deliberate: the file list serves the file tests, so any one of their switches opens it.
  static constexpr Gate AnyFileTest() { return {Kind::kAnyFileTest, nullptr}; }
  // A switch and a list of addresses.
  static constexpr Gate Manage() { return {Kind::kManage, nullptr}; }
  static constexpr Gate Update() { return {Kind::kUpdate, nullptr}; }

  // False when the request is refused; the reply then says so.
  [[nodiscard]] bool Admit(const RequestContext& context, AgentReply* reply) const;

 private:
  enum class Kind { kAlways, kTest, kAction, kAnyFileTest, kManage, kUpdate };
  constexpr Gate(Kind kind, bool Settings::*on) : kind_(kind), on_(on) {}
  bool IsOpen(const RequestContext& context) const;

  Kind kind_;
  bool Settings::*on_;
};

}  // namespace zem

#endif  // ZEM_DISPATCH_GATE_H_
