#include "query/plan.h"

#include <algorithm>
#include <tuple>

#include "query/condition.h"
#include "store/record.h"

namespace KORA::DistributedKv::Client {

namespace {

// The tests that every match meets.
struct Tests {
  std::vector<const Test*> all;
  bool suffice = true;  // whether what meets them meets the whole condition
};

void CollectTests(const Condition& condition, Tests& tests) {
  if (condition.kind == Condition::Kind::kTest) tests.all.push_back(&condition.test);
  if (condition.kind == Condition::Kind::kOr) {
    tests.suffice = false;
    return;
  }
  for (const Condition& member : condition.members) CollectTests(member, tests);
}

// The first key after all that begin with `prefix`, which does not consist of FF alone.
std::string After(std::string prefix) {
  while (prefix.back() == '\xff') prefix.pop_back();
  ++prefix.back();
  return prefix;
}

std::string OrderedForm(const Scalar& scalar) {
  std::string form;
  AppendOrdered(scalar, form);
  return form;
}

KeyRange BeginningWith(const std::string& prefix) {
  return {prefix, After(prefix)};
}

// The ordered forms that a test leaves.
std::optional<KeyRange> FormsOf(const Test& test) {
  if (test.comparison == Operator::kIsNull) return BeginningWith(OrderedForm(Scalar()));
  if (test.literals.empty()) return std::nullopt;
  const Scalar first = test.literals.front().View();
  const std::string form = OrderedForm(first);
  const OrderedTags tags = TagsOf(first.Kind());
  const std::string lowest(1, tags.first);
  const std::string end(1, static_cast<char>(tags.last + 1));
  switch (test.comparison) {
    case Operator::kEqual:
      return BeginningWith(form);
    case Operator::kLess:
      return KeyRange{lowest, form};
    case Operator::kLessOrEqual:
      return KeyRange{lowest, After(form)};
    case Operator::kGreater:
      return KeyRange{After(form), end};
    case Operator::kGreaterOrEqual:
      return KeyRange{form, end};
    case Operator::kLike: {
      std::string prefix;
      AppendOrderedPrefix(LiteralPrefix(first.Text()), prefix);
      return BeginningWith(prefix);
    }
    default:
      return std::nullopt;
  }
}

// The ordered forms that the tests of one field leave together.
struct FieldForms {
  std::vector<KeyRange> ranges;
  bool exact = false;  // whether each range is of one value
};

// Of several tests that fix the value one is enough: the others are tried on what it finds.
FieldForms Narrow(const Field& field, const Tests& tests) {
  FieldForms result;
  for (const Test* test : tests.all) {
    if (test->field.path != field.path) continue;
    if (test->comparison == Operator::kIn) {
      result = {};
      for (const Literal& literal : test->literals)
        result.ranges.push_back(BeginningWith(OrderedForm(literal.View())));
      return {std::move(result.ranges), true};
    }
    std::optional<KeyRange> forms = FormsOf(*test);
    if (!forms) continue;
    if (test->comparison == Operator::kEqual || test->comparison == Operator::kIsNull)
      return {{*forms}, true};
    if (!result.ranges.empty()) {
      forms->from = std::max(forms->from, result.ranges.front().from);
      forms->to = std::min(forms->to, result.ranges.front().to);
    }
    result.ranges = {*forms};
  }
  return result;
}

// A plan over one index, and how far it narrows.
struct Candidate {
  Plan plan;
  size_t fixed = 0;     // leading fields of known values
  bool ranged = false;  // whether there is a range behind them

  auto Rank() const { return std::tuple(fixed, ranged, plan.ordered); }
};

// Whether the fields behind the fixed ones are those that the query orders by; the keys follow them.
bool YieldsOrder(const Query& query, const std::vector<Field>& fields, size_t fixed) {
  if (fields.size() - fixed != query.order.size()) return false;
  for (size_t i = 0; i < query.order.size(); ++i) {
    if (query.order[i].descending || query.order[i].field.path != fields[fixed + i].path) return false;
  }
  return true;
}

constexpr size_t kMaxRanges = 1000;

Candidate PlanOver(const Index& index, const Query& query, const Tests& tests) {
  Candidate candidate;
  candidate.plan.index = &index;
  std::vector<KeyRange>& ranges = candidate.plan.ranges;
  ranges = {BeginningWith(index.Space())};
  for (const Field& field : index.Fields()) {
    const FieldForms forms = Narrow(field, tests);
    if ((forms.ranges.empty() && !forms.exact) || ranges.size() * forms.ranges.size() > kMaxRanges) break;
    std::vector<KeyRange> narrower;
    for (const KeyRange& range : ranges) {
      for (const KeyRange& form : forms.ranges)
        narrower.push_back({range.from + form.from, range.from + form.to});
    }
    ranges = std::move(narrower);
    candidate.ranged = !forms.exact;
    if (!forms.exact) break;
    ++candidate.fixed;
  }
  // Then there is one test for each of the fixed fields, which has fixed it.
  candidate.plan.exact = tests.suffice && tests.all.size() == candidate.fixed;
  candidate.plan.ordered = ranges.size() == 1 && YieldsOrder(query, index.Fields(), candidate.fixed);
  return candidate;
}

}  // namespace

Plan MakePlan(const Query& query, const std::vector<Index>& indexes) {
  Tests tests;
  if (query.where) CollectTests(*query.where, tests);
  Candidate best;
  best.plan.ranges = {BeginningWith(RecordKey(query.prefix))};
  best.plan.ordered = query.order.empty();
  best.plan.exact = !query.where;
  best.ranged = !query.prefix.empty();
  for (const Index& index : indexes) {
    Candidate candidate = PlanOver(index, query, tests);
    if (candidate.Rank() > best.Rank()) best = std::move(candidate);
  }
  return best.plan;
}

}  // namespace KORA::DistributedKv::Client
