#include "ctl/Commands.h"

namespace ctl {

const std::vector<Command>& commands() {
    static const std::vector<Command> table{
        {"status", "[--json]", "顯示狀態、問題與解決方法", 0, 0, {"--json"}, status},
        {"url", "[--json]", "網頁的網址，含存取權杖", 0, 0, {"--json"}, url},
        {"mode", "[off|auto|on] [--json]", "查看或切換離開模式", 0, 1, {"--json"}, mode},
        {"pending", "[--json]", "列出等待回答的問題與代號", 0, 0, {"--json"}, pending},
        {"answer",
         "ID allow|always|deny [--message TEXT]",
         "回答權限問題",
         2,
         2,
         {"--message"},
         answer},
        {"reply", "ID TEXT", "給停下來的回合新的指示", 2, 2, {}, reply},
        {"watch", "", "即時顯示事件與問題，按一個鍵就能回答", 0, 0, {}, watch},
        {"pair", "[--json]", "配對一支手機：顯示 QR code 與連結", 0, 0, {"--json"}, pair},
        {"devices", "[--json]", "列出配對的手機與代號", 0, 0, {"--json"}, devices},
        {"devices remove", "ID", "移除一支手機", 1, 1, {}, devicesRemove},
        {"test-push", "", "傳一則測試推播到手機", 0, 0, {}, testPush},
        {"relay status", "[--json]", "中繼的設定與連線", 0, 0, {"--json"}, relayStatus},
        {"relay set",
         "URL [--yes]",
         "換一個中繼；配對過的手機要重新配對",
         1,
         1,
         {"--yes"},
         relaySet},
        {"relay reset", "[--yes]", "移除中繼的設定", 0, 0, {"--yes"}, relayReset},
        {"hooks status", "[--json]", "hooks 裝好了沒有", 0, 0, {"--json"}, hooksStatus},
        {"hooks install", "", "安裝或修好 hooks", 0, 0, {}, hooksInstall},
        {"hooks remove", "", "移除 hooks", 0, 0, {}, hooksRemove},
        {"hooks trust", "[--json]", "Codex 信任 hooks 了沒有", 0, 0, {"--json"}, hooksTrust},
        {"takeover", "", "停用舊版的 daemon，換成 Tamsell", 0, 0, {}, takeover},
        {"test",
         "[--ask]",
         "測試 agent 到 Tamsell 的整個流程；--ask 會實際問一題",
         0,
         0,
         {"--ask"},
         test},
        {"doctor",
         "[--json] [--fix | --restore]",
         "檢查一切；--fix 修正可以安全修正的，--restore 還原上一份完好的設定",
         0,
         0,
         {"--json", "--fix", "--restore"},
         doctor},
        {"service install", "", "登入時自動啟動（systemd 使用者服務）", 0, 0, {}, serviceInstall},
        {"service remove", "", "停止並移除這個服務", 0, 0, {}, serviceRemove},
        {"service status", "[--json]", "這個服務的狀態", 0, 0, {"--json"}, serviceStatus},
    };
    return table;
}

} // namespace ctl
