#include "block_pricing/messages.hpp"

#include "block_pricing/bytes.hpp"

namespace quarn {
inline namespace v1 {

using detail::Batch;
using detail::ByteReader;
using detail::ByteWriter;
using detail::Failure;
using detail::Outcome;
using detail::RoundReport;

std::string BlockMessages::pack(const BlockDuals &duals) {
  ByteWriter writer;
  writer.reserve(duals.values.size() * sizeof(double) + duals.note.size() + 64);
  writer.array(duals.values);
  writer.number(duals.objective);
  writer.number(duals.lower_bound);
  writer.number(duals.upper_bound);
  writer.number(duals.gap);
  writer.number(duals.iteration);
  writer.text(duals.note);
  return writer.bytes();
}

BlockDuals BlockMessages::duals(std::string_view bytes) {
  ByteReader reader(bytes);
  BlockDuals duals;
  duals.values = reader.array<double>();
  duals.objective = reader.number<double>();
  duals.lower_bound = reader.number<double>();
  duals.upper_bound = reader.number<double>();
  duals.gap = reader.number<double>();
  duals.iteration = reader.number<int32_t>();
  duals.note = reader.text();
  return duals;
}

/// Field by field: a record's padding would be a quarter of the bytes. The first column of an
/// outcome is where the one before ends.
static void pack_outcomes(const std::vector<Outcome> &outcomes, ByteWriter *writer) {
  writer->number<uint64_t>(outcomes.size());
  for (const Outcome &outcome : outcomes) {
    writer->number(outcome.block);
    writer->number(outcome.columns);
    writer->number(static_cast<uint8_t>(outcome.answer.kind));
    writer->number(outcome.answer.value);
    writer->number(static_cast<float>(outcome.seconds));
  }
}

static std::vector<Outcome> unpack_outcomes(ByteReader *reader) {
  std::vector<Outcome> outcomes(static_cast<size_t>(reader->number<uint64_t>()));
  uint32_t first = 0;
  for (Outcome &outcome : outcomes) {
    outcome.block = reader->number<uint32_t>();
    outcome.first_column = first;
    outcome.columns = reader->number<uint32_t>();
    outcome.answer.kind = static_cast<BlockAnswer::Kind>(reader->number<uint8_t>());
    outcome.answer.value = reader->number<double>();
    outcome.seconds = static_cast<double>(reader->number<float>());
    first += outcome.columns;
  }
  return outcomes;
}

static std::vector<uint32_t> lengths_of(const std::vector<int64_t> &starts) {
  std::vector<uint32_t> lengths;
  lengths.reserve(starts.size());
  for (size_t j = 1; j < starts.size(); ++j) {
    lengths.push_back(static_cast<uint32_t>(starts[j] - starts[j - 1]));
  }
  return lengths;
}

static std::vector<int64_t> starts_of(const std::vector<uint32_t> &lengths) {
  std::vector<int64_t> starts = {0};
  starts.reserve(lengths.size() + 1);
  for (const uint32_t length : lengths) starts.push_back(starts.back() + length);
  return starts;
}

std::string BlockMessages::pack(const RoundReport &report) {
  ByteWriter writer;
  writer.number<uint8_t>(report.failure ? 1 : 0);
  if (report.failure) {
    writer.number<uint64_t>(report.failure->block);
    writer.text(report.failure->text);
  }
  writer.number<uint64_t>(report.batches.size());
  for (const Batch &batch : report.batches) {
    const BlockColumns &columns = batch.columns;
    pack_outcomes(batch.outcomes, &writer);
    writer.array(columns.costs_);
    writer.array(lengths_of(columns.starts_));
    writer.array(columns.rows_);
    writer.array(columns.values_);
    writer.array(lengths_of(columns.data_starts_));
    writer.text(columns.data_);
  }
  return writer.bytes();
}

void BlockMessages::unpack(std::string_view bytes, RoundReport *report) {
  ByteReader reader(bytes);
  if (reader.number<uint8_t>() != 0) {
    Failure failure;
    failure.block = static_cast<size_t>(reader.number<uint64_t>());
    failure.text = reader.text();
    if (!report->failure || failure.block < report->failure->block) report->failure = failure;
  }
  const auto batches = reader.number<uint64_t>();
  for (uint64_t k = 0; k < batches; ++k) {
    Batch batch;
    batch.outcomes = unpack_outcomes(&reader);
    batch.columns.costs_ = reader.array<double>();
    batch.columns.starts_ = starts_of(reader.array<uint32_t>());
    batch.columns.rows_ = reader.array<int32_t>();
    batch.columns.values_ = reader.array<double>();
    batch.columns.data_starts_ = starts_of(reader.array<uint32_t>());
    batch.columns.data_ = reader.text();
    report->batches.push_back(std::move(batch));
  }
}

}  // namespace v1
}  // namespace quarn
