// Log sink and the identification getters.
#include <iostream>

#include "fenxi/fenxi.h"
#include "platform/debug_output.h"

IAnaLog::~IAnaLog() = default;

void CAnaLogForHVQ::Output(const std::string& text) { fenxi::platform::DebugOutput(text.c_str()); }

void CAnalysisTechniques::SetAnalog(IAnaLog* log) { Log = log; }

void CAnalysisTechniques::ResetAnalog() { Log = nullptr; }

void CAnalysisTechniques::PutAnalog(const std::string& text) {
    if (Log != nullptr) Log->Output(text);
}

void CAnalysisTechniques::DebugInfo() {
    std::cout << "--- DEBUG INFO OF CAnalysisTechniques" << std::endl;
    std::cout << "sizeof(UNIKDATA) = " << sizeof(UNIKDATA) << std::endl;
    std::cout << "sizeof(FENXIDATA) = " << sizeof(FENXIDATA) << std::endl;
    std::cout << "--- END OF DEBUG INFO OF CAnalysisTechniques" << std::endl;
}

void CAnalysisTechniques::GetFormulaVersion(std::string& out) { out = "1.1"; }

void CAnalysisTechniques::GetChineseString(std::string& out) {
    // "中文字符串测试函数" in UTF-8, spelled as bytes so any source charset works.
    out = "\xe4\xb8\xad\xe6\x96\x87\xe5\xad\x97\xe7\xac\xa6\xe4\xb8\xb2\xe6\xb5\x8b\xe8\xaf\x95\xe5\x87\xbd\xe6\x95\xb0";
}
