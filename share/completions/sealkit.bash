_sealkit() {
    local word=${COMP_WORDS[COMP_CWORD]} verb=sealkit words i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case "$verb ${COMP_WORDS[i]}" in
        'sealkit verify'|'sealkit show'|'sealkit asn1'|'sealkit hash'|'sealkit mac'|'sealkit cipher'|'sealkit cipher encrypt'|'sealkit cipher decrypt'|'sealkit key'|'sealkit key new'|'sealkit key public'|'sealkit key encrypt'|'sealkit key decrypt'|'sealkit kem'|'sealkit kem new'|'sealkit kem public'|'sealkit kem encap'|'sealkit kem decap'|'sealkit sign'|'sealkit check'|'sealkit req'|'sealkit req new'|'sealkit cert'|'sealkit cert self-sign'|'sealkit cert issue'|'sealkit cert renew'|'sealkit ca'|'sealkit ca list'|'sealkit ca revoke'|'sealkit ca release'|'sealkit ca add'|'sealkit crl'|'sealkit crl new'|'sealkit cms'|'sealkit cms sign'|'sealkit cms check'|'sealkit cms certificates'|'sealkit cms encrypt'|'sealkit cms decrypt'|'sealkit ts'|'sealkit ts request'|'sealkit ts check'|'sealkit ts reply'|'sealkit convert'|'sealkit p12'|'sealkit p12 export'|'sealkit p12 import'|'sealkit p12 show'|'sealkit completion'|'sealkit random'|'sealkit store'|'sealkit store list'|'sealkit store show'|'sealkit store set'|'sealkit store remove'|'sealkit trust'|'sealkit trust add'|'sealkit trust list'|'sealkit trust remove'|'sealkit help') verb+=" ${COMP_WORDS[i]}" ;;
        esac
    done
    case $verb in
    'sealkit') words='verify show asn1 hash mac cipher key kem sign check req cert ca crl cms ts convert p12 completion random store trust help -h --help --version' ;;
    'sealkit verify') words='--host --ip --email --purpose --policy --require-policy --valid-for --ca --cerm --at --crl --check-crls --rules --strict --certificates --explain --each --json -h --help' ;;
    'sealkit show') words='--dump --json --secrets --partial --password-file --password -h --help' ;;
    'sealkit asn1') words='--at --json --der --block -o --output --force -h --help' ;;
    'sealkit hash') words='-a --algorithm -c --check --tag --ignore-missing --quiet --status --strict -w --warn --json -h --help' ;;
    'sealkit mac') words='-a --algorithm --key-file --key -c --check --tag --ignore-missing --quiet --status --strict -w --warn --json -h --help' ;;
    'sealkit cipher') words='encrypt decrypt -h --help' ;;
    'sealkit cipher encrypt') words='-a --algorithm --key-file --key --iv --aad-file --no-pad -o --output --force -h --help' ;;
    'sealkit cipher decrypt') words='-a --algorithm --key-file --key --iv --aad-file --no-pad -o --output --force -h --help' ;;
    'sealkit key') words='new public encrypt decrypt -h --help' ;;
    'sealkit key new') words='-o --output --force --json --bits --password-file --password --encrypt --iterations -h --help' ;;
    'sealkit key public') words='-o --output --force --json --to --comment --password-file --password -h --help' ;;
    'sealkit key encrypt') words='-o --output --force --json --password-file --password --old-password-file --old-password --iterations -h --help' ;;
    'sealkit key decrypt') words='-o --output --force --json --to --comment --password-file --password -h --help' ;;
    'sealkit kem') words='new public encap decap -h --help' ;;
    'sealkit kem new') words='-o --output --force --password-file --password --encrypt --iterations -h --help' ;;
    'sealkit kem public') words='--password-file --password -o --output --force -h --help' ;;
    'sealkit kem encap') words='-k --key --password-file --password -c --ciphertext -o --output --force -h --help' ;;
    'sealkit kem decap') words='-k --key --password-file --password -o --output --force -h --help' ;;
    'sealkit sign') words='-k --key -a --algorithm --password-file --password -o --output --force --hex --base64 -h --help' ;;
    'sealkit check') words='-k --key -a --algorithm --password-file --password -s --signature --hex --base64 --json -h --help' ;;
    'sealkit req') words='new -h --help' ;;
    'sealkit req new') words='-k --key -a --algorithm --password-file --password --subject --san --profile --challenge-password -o --output --der --force --json -h --help' ;;
    'sealkit cert') words='self-sign issue renew -h --help' ;;
    'sealkit cert self-sign') words='-k --key -a --algorithm --password-file --password --profile --subject --days --from --to --backdate --serial --san --eku --policy --crl-url --ocsp-url --issuer-url --path-length --permit --exclude --permit-dns --exclude-dns --register -o --output --der --force --json -h --help' ;;
    'sealkit cert issue') words='--public-key --ca --chain -k --key -a --algorithm --password-file --password --profile --subject --subject-template --accept-names --days --from --to --backdate --serial --san --eku --policy --crl-url --ocsp-url --issuer-url --path-length --permit --exclude --permit-dns --exclude-dns --register -o --output --der --force --json -h --help' ;;
    'sealkit cert renew') words='--ca --old-ca --chain -k --key -a --algorithm --password-file --password --request --public-key --days --from --to --backdate --serial --register -o --output --der --force --json -h --help' ;;
    'sealkit ca') words='list revoke release add -h --help' ;;
    'sealkit ca list') words='--register --expiring --valid --revoked --at --json -h --help' ;;
    'sealkit ca revoke') words='--register --json --reason --at -h --help' ;;
    'sealkit ca release') words='--register --json -h --help' ;;
    'sealkit ca add') words='--register --ca --json -h --help' ;;
    'sealkit crl') words='new -h --help' ;;
    'sealkit crl new') words='--ca -k --key -a --algorithm --password-file --password --previous --register --revoke --release --number --days --from --next-update -o --output --der --force --json -h --help' ;;
    'sealkit cms') words='sign check certificates encrypt decrypt -h --help' ;;
    'sealkit cms sign') words='-k --key --certificate -a --algorithm --password-file --password --chain --key-id --no-attributes --signing-time --content-type --detached --smime --text --header -o --output --der --force --json -h --help' ;;
    'sealkit cms check') words='--content --certificates --ca --cerm --at --crl --check-crls --rules --strict --purpose --json -o --output --force --text -h --help' ;;
    'sealkit cms certificates') words='--bundle --crl -o --output --der --force --json -h --help' ;;
    'sealkit cms encrypt') words='--certificate --password-file --password --cipher --oaep --key-id --smime --text --header -o --output --der --force --json -h --help' ;;
    'sealkit cms decrypt') words='-k --key --password-file --password --certificate -o --output --force --text --json -h --help' ;;
    'sealkit ts') words='request check reply -h --help' ;;
    'sealkit ts request') words='-a --algorithm --nonce --no-nonce --want-certificate --policy -o --output --force --json -h --help' ;;
    'sealkit ts check') words='--request --data --certificates --policy --ca --cerm --at --crl --check-crls --rules --strict --json -h --help' ;;
    'sealkit ts reply') words='--certificate -k --key -a --algorithm --password-file --password --chain --policy --other-policy --serial --accuracy --ordering --accept-sha1 -o --output --force --json -h --help' ;;
    'sealkit convert') words='--to -o --output --force --comments --password-file --password --out-password-file --out-password --encrypt --unencrypted --iterations --json -h --help' ;;
    'sealkit p12') words='export import show -h --help' ;;
    'sealkit p12 export') words='-k --key --certificate --chain --name --trust-store -o --output --force --password-file --password --key-password-file --key-password --empty-password --cipher --legacy --mac --iterations --json -h --help' ;;
    'sealkit p12 import') words='-o --output --force --password-file --password --empty-password --keys-only --certificates-only --key-out-password-file --key-out-password --partial --encrypt --ca --mac-iterations -k --key --certificate --key-password-file --key-password --json -h --help' ;;
    'sealkit p12 show') words='--dump --json --secrets --partial --password-file --password -h --help' ;;
    'sealkit completion') words='-h --help' ;;
    'sealkit random') words='--hex --base64 -o --output --force -h --help' ;;
    'sealkit store') words='list show set remove -h --help' ;;
    'sealkit store list') words='--json -h --help' ;;
    'sealkit store show') words='--json -h --help' ;;
    'sealkit store set') words='--replace -h --help' ;;
    'sealkit store remove') words='-h --help' ;;
    'sealkit trust') words='add list remove -h --help' ;;
    'sealkit trust add') words='--usage --json -h --help' ;;
    'sealkit trust list') words='--json -h --help' ;;
    'sealkit trust remove') words='-h --help' ;;
    'sealkit help') words='' ;;
    esac
    [[ $word != -* && $words == -* ]] || COMPREPLY=($(compgen -W "$words" -- "$word"))
}
complete -o default -F _sealkit sealkit
