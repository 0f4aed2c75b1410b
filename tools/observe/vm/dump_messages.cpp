// SPDX-License-Identifier: MIT
#include "observe/vm/dump_messages.hpp"

#include <cstring>

namespace kt3::observe {

void Sender::send(const DumpFinding& finding) const {
    Packer packer;
    packer.add(finding.entry).add(finding.file).add(finding.line).add(finding.code).add(finding.message);
    packer.add(finding.count);
    send(MessageKind::finding, packer.bytes());
}

Packer& Packer::add(std::string_view text) {
    add(static_cast<std::int64_t>(text.size()));
    bytes_ += text;
    return *this;
}

Packer& Packer::add(std::int64_t number) {
    bytes_.append(reinterpret_cast<const char*>(&number), sizeof number);
    return *this;
}

std::string Unpacker::text() {
    const auto size = static_cast<std::size_t>(number());
    std::string text(rest_.substr(0, size));
    rest_.remove_prefix(size);
    return text;
}

std::int64_t Unpacker::number() {
    std::int64_t number = 0;
    std::memcpy(&number, rest_.data(), sizeof number);
    rest_.remove_prefix(sizeof number);
    return number;
}

DumpFinding finding_in(const Message& sent) {
    Unpacker message(sent.bytes);
    DumpFinding finding;
    finding.entry = message.text();
    finding.file = message.text();
    finding.line = static_cast<int>(message.number());
    finding.code = message.text();
    finding.message = message.text();
    finding.count = static_cast<int>(message.number());
    return finding;
}

} // namespace kt3::observe
