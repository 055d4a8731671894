// Bouncy Castle beside `cms encrypt` and `cms decrypt`: reads and writes encrypted messages for cms_enveloped_test.py.
//
//     java EnvelopedPeer.java write FOLDER   CONTENT, NAME.crt and NAME.pk8 are there: writes to each, in each form
//     java EnvelopedPeer.java read FOLDER    writes what each recipient of ours-cbc, and the first of ours-gcm, opens to FORM-NUMBER.read
import java.nio.file.*;
import java.security.*;
import java.security.cert.*;
import java.security.spec.*;
import java.util.*;
import org.bouncycastle.asn1.ASN1ObjectIdentifier;
import org.bouncycastle.asn1.pkcs.PKCSObjectIdentifiers;
import org.bouncycastle.cms.*;
import org.bouncycastle.cms.jcajce.*;
import org.bouncycastle.jce.provider.BouncyCastleProvider;
import org.bouncycastle.operator.OutputAEADEncryptor;

public class EnvelopedPeer {
    static final String PASSWORD = "a pass phrase";
    static Path folder;

    static X509Certificate certificate(String name) throws Exception {
        return (X509Certificate) CertificateFactory.getInstance("X.509", "BC").generateCertificate(Files.newInputStream(folder.resolve(name + ".crt")));
    }

    static PrivateKey key(String name) throws Exception {
        String algorithm = name.equals("rsa") ? "RSA" : "EC";
        return KeyFactory.getInstance(algorithm, "BC").generatePrivate(new PKCS8EncodedKeySpec(Files.readAllBytes(folder.resolve(name + ".pk8"))));
    }

    static List<RecipientInfoGenerator> recipients() throws Exception {
        KeyPairGenerator pairs = KeyPairGenerator.getInstance("EC", "BC");
        pairs.initialize(new ECGenParameterSpec("P-256"));
        KeyPair own = pairs.generateKeyPair();
        var agreement = new JceKeyAgreeRecipientInfoGenerator(CMSAlgorithm.ECDH_SHA256KDF, own.getPrivate(), own.getPublic(), CMSAlgorithm.AES256_WRAP).setProvider("BC");
        agreement.addRecipient(certificate("p256"));
        agreement.setUserKeyingMaterial(new byte[] {1, 2, 3});
        var algorithms = new org.bouncycastle.operator.jcajce.JcaAlgorithmParametersConverter().getAlgorithmIdentifier(
            PKCSObjectIdentifiers.id_RSAES_OAEP,
            new javax.crypto.spec.OAEPParameterSpec("SHA-256", "MGF1", new MGF1ParameterSpec("SHA-256"), javax.crypto.spec.PSource.PSpecified.DEFAULT));
        var password = new JcePasswordRecipientInfoGenerator(CMSAlgorithm.AES256_CBC, PASSWORD.toCharArray())
            .setProvider("BC").setPasswordConversionScheme(PasswordRecipient.PKCS5_SCHEME2_UTF8).setPRF(PasswordRecipient.PRF.HMacSHA512);
        return List.of(new JceKeyTransRecipientInfoGenerator(certificate("rsa"), algorithms).setProvider("BC"), agreement, password);
    }

    static void write() throws Exception {
        var content = new CMSProcessableByteArray(Files.readAllBytes(folder.resolve("content")));
        var enveloped = new CMSEnvelopedDataGenerator();
        var authenticated = new CMSAuthEnvelopedDataGenerator();
        for (RecipientInfoGenerator each : recipients()) {
            enveloped.addRecipientInfoGenerator(each);
            authenticated.addRecipientInfoGenerator(each);
        }
        Files.write(folder.resolve("bc-cbc"), enveloped.generate(content, new JceCMSContentEncryptorBuilder(CMSAlgorithm.AES256_CBC).setProvider("BC").build()).getEncoded());
        Files.write(folder.resolve("bc-gcm"),
            authenticated.generate(content, (OutputAEADEncryptor) new JceCMSContentEncryptorBuilder(CMSAlgorithm.AES256_GCM).setProvider("BC").build()).getEncoded());
    }

    static Recipient holder(RecipientInformation recipient) throws Exception {
        if (recipient instanceof PasswordRecipientInformation)
            return new JcePasswordEnvelopedRecipient(PASSWORD.toCharArray()).setProvider("BC").setPasswordConversionScheme(PasswordRecipient.PKCS5_SCHEME2_UTF8);
        if (recipient instanceof KeyAgreeRecipientInformation)
            return new JceKeyAgreeEnvelopedRecipient(key("p256")).setProvider("BC");
        return new JceKeyTransEnvelopedRecipient(key("rsa")).setProvider("BC");
    }

    static void read() throws Exception {
        int number = 0;
        for (RecipientInformation each : new CMSEnvelopedData(Files.readAllBytes(folder.resolve("ours-cbc"))).getRecipientInfos().getRecipients())
            Files.write(folder.resolve("cbc-" + number++ + ".read"), each.getContent(holder(each)));
        // Authenticated messages it opens with RSA keys alone.
        var recipient = new JceKeyTransAuthEnvelopedRecipient(key("rsa")).setProvider("BC");
        var first = new CMSAuthEnvelopedData(Files.readAllBytes(folder.resolve("ours-gcm"))).getRecipientInfos().getRecipients().iterator().next();
        Files.write(folder.resolve("gcm-0.read"), first.getContent(recipient));
    }

    public static void main(String[] arguments) throws Exception {
        Security.addProvider(new BouncyCastleProvider());
        folder = Path.of(arguments[1]);
        if (arguments[0].equals("write"))
            write();
        else
            read();
    }
}
