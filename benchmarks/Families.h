#ifndef ZOR_COMMON_BENCHMARKS_FAMILIES_H
#define ZOR_COMMON_BENCHMARKS_FAMILIES_H

/// \file
/// The rows of each family, in the order of the table.

namespace zor::common::bench {

void IpAddressRows();
void Ipv6AddressRows();
void MacAddressRows();
void AddressTextRows();
void AddressRangeRows();
void HexfieldRows();
void FieldExtractorRows();
void WildcardsRows();
void IndexOrderRows();
void CompiledTemplateRows();
void FrameBuilderRows();
void SequenceAuditRows();
void GoogleProtoBufRows();
void MacroExpanderRows();

} // namespace zor::common::bench

#endif // ZOR_COMMON_BENCHMARKS_FAMILIES_H
