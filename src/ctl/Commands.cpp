#include "ctl/Commands.h"

namespace ctl {

const std::vector<Command>& commands() {
    static const std::vector<Command> table{
        {"status", "[--json]", "Tamsell 在做什麼、哪裡不對、怎麼修", 0, 0, {"--json"}, status},
        {"url", "[--json]", "網頁的網址，含存取權杖", 0, 0, {"--json"}, url},
        {"mode", "[off|auto|on] [--json]", "看或切換離開模式", 0, 1, {"--json"}, mode},
        {"pending", "[--json]", "等待回答的問題與代號", 0, 0, {"--json"}, pending},
        {"answer",
         "ID allow|always|deny [--message TEXT]",
         "回答權限問題",
         2,
         2,
         {"--message"},
         answer},
        {"reply", "ID TEXT", "給停下的回合新的指示", 2, 2, {}, reply},
        {"watch", "", "跟著事件與問題，按一個鍵就能回答", 0, 0, {}, watch},
        {"hooks status", "[--json]", "hooks 裝好了沒有", 0, 0, {"--json"}, hooksStatus},
        {"hooks install", "", "安裝或修好 hooks", 0, 0, {}, hooksInstall},
        {"hooks remove", "", "移除 hooks", 0, 0, {}, hooksRemove},
        {"test",
         "[--ask]",
         "走一遍從 agent 到 Tamsell 的路；--ask 在這裡問一題",
         0,
         0,
         {"--ask"},
         test},
        {"doctor",
         "[--json] [--restore]",
         "檢查一切；--restore 回復上一份完好的設定",
         0,
         0,
         {"--json", "--restore"},
         doctor},
        {"service install", "", "登入時自動啟動（systemd 使用者服務）", 0, 0, {}, serviceInstall},
        {"service remove", "", "停止並移除這個服務", 0, 0, {}, serviceRemove},
        {"service status", "[--json]", "這個服務的狀態", 0, 0, {"--json"}, serviceStatus},
    };
    return table;
}

} // namespace ctl
